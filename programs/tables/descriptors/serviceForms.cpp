#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/generated.h"
#include "programs/tables/descriptors/layouts.h"

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

// ---- EN 300 468 clauses 6.2.3, 6.2.11, 6.2.18, 6.2.25, 6.2.26, 6.2.34 and 6.2.46

constexpr LayoutField kNvodReference[] = {number("transport_stream_id", 16), number("original_network_id", 16),
                                          number("service_id", 16)};
constexpr LayoutField kTimeShiftedService[] = {number("reference_service_id", 16)};
constexpr LayoutField kCaIdentifier[] = {number("CA_system_id", 16)};
constexpr LayoutField kMultilingualServiceName[] = {language(), countedText("provider"), countedText("name")};
constexpr LayoutField kServiceMove[] = {number("new_original_network_id", 16),
                                        number("new_transport_stream_id", 16), number("new_service_id", 16)};
constexpr LayoutField kDataBroadcast[] = {number("data_broadcast_id", 16), number("component_tag", 8),
                                          countedBytes("selector"), language(), countedText("text")};
constexpr LayoutField kFtaContentManagement[] = {flag("user_defined"), reserved(3), flag("do_not_scramble"),
                                                 number("control_remote_access_over_internet", 2),
                                                 flag("do_not_apply_revocation")};

}  // namespace

DescriptorForms serviceForms() {
  return {loop<kNvodReference>(0x4B, "NVOD_reference"),
          fields<kTimeShiftedService>(0x4C, "time_shifted_service"),
          loop<kCaIdentifier>(0x53, "CA_identifier"),
          loop<kMultilingualServiceName>(0x5D, "multilingual_service_name"),
          fields<kServiceMove>(0x60, "service_move"),
          fields<kDataBroadcast>(0x64, "data_broadcast"),
          fields<kFtaContentManagement>(0x7E, "FTA_content_management"),
          {0x48, "service", encodeService, decodeService},
          {0x5F, "private_data_specifier", encodePrivateDataSpecifier, decodePrivateDataSpecifier}};
}

}  // namespace vantor::tables
