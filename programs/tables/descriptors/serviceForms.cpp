#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/generated.h"

/// Descriptors of services, and the one that says whose private descriptors follow.

namespace vantor::tables {

namespace {

// ---- EN 300 468 clause 6.2.33

std::string encodeService(const JsonValue& json) {
  constexpr std::size_t kRoom = kMaxDescriptorData - 3;  // service_type and two lengths
  json.allowOnly({"service_type", "provider", "name"});
  dvbpsi_service_dr_t record{};
  record.i_service_type = readNumber<std::uint8_t>(json, "service_type");
  const std::string provider = readText(json, "provider", kRoom);
  const std::string name = readText(json, "name", kRoom - provider.size());
  record.i_service_provider_name_length = static_cast<std::uint8_t>(provider.size());
  fill(record.i_service_provider_name, provider);
  record.i_service_name_length = static_cast<std::uint8_t>(name.size());
  fill(record.i_service_name, name);
  return generated(dvbpsi_GenServiceDr, record);
}

OrderedJson decodeService(BitReader& from) {
  return {{"service_type", from.bits(8)},
          {"provider", textOf(from, from.counted())},
          {"name", textOf(from, from.counted())}};
}

// ---- EN 300 468 clause 6.2.31

std::string encodePrivateDataSpecifier(const JsonValue& json) {
  json.allowOnly({"private_data_specifier"});
  BitWriter to;
  put(to, json, "private_data_specifier", 32);
  return to.written();
}

OrderedJson decodePrivateDataSpecifier(BitReader& from) { return {{"private_data_specifier", from.bits(32)}}; }

}  // namespace

DescriptorForms serviceForms() {
  return {{0x48, "service", encodeService, decodeService},
          {0x5F, "private_data_specifier", encodePrivateDataSpecifier, decodePrivateDataSpecifier}};
}

}  // namespace vantor::tables
