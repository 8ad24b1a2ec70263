#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/generated.h"
#include "programs/tables/descriptors/layouts.h"

/// Descriptors of networks and bouquets, and those that point at services elsewhere.

namespace vantor::tables {

namespace {

// ---- EN 300 468 clauses 6.2.27 and 6.2.4

std::string encodeNetworkName(const JsonValue& json) {
  json.allowOnly({"name"});
  const std::string name = readText(json, "name", kMaxDescriptorData);
  dvbpsi_network_name_dr_t record{};
  record.i_name_length = static_cast<std::uint8_t>(name.size());
  fill(record.i_name_byte, name);
  return generated(dvbpsi_GenNetworkNameDr, record);
}

std::string encodeBouquetName(const JsonValue& json) {
  json.allowOnly({"name"});
  const std::string name = readText(json, "name", kMaxDescriptorData);
  dvbpsi_bouquet_name_dr_t record{};
  record.i_name_length = static_cast<std::uint8_t>(name.size());
  fill(record.i_char, name);
  return generated(dvbpsi_GenBouquetNameDr, record);
}

OrderedJson decodeName(BitReader& from) { return {{"name", textOf(from, from.rest())}}; }

// ---- EN 300 468 clause 6.2.35

constexpr std::size_t kListedServiceSize = 3;

std::string encodeServiceList(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData / kListedServiceSize, [&to](std::size_t, const JsonValue& service) {
    service.allowOnly({"service_id", "service_type"});
    put(to, service, "service_id", 16);
    put(to, service, "service_type", 8);
  });
  return to.written();
}

OrderedJson decodeServiceList(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    return OrderedJson{{"service_id", entry.bits(16)}, {"service_type", entry.bits(8)}};
  });
}

// ---- EN 300 468 clause 6.2.19

constexpr std::uint32_t kMobileHandOver = 0x08;
constexpr std::uint32_t kEventLinkage = 0x0D;

/// The originating table, and with it whether an initial_service_id follows.
constexpr std::uint32_t kFromNit = 0;

bool hasNetworkId(std::uint32_t handOverType) { return handOverType >= 1 && handOverType <= 3; }

void putHandOver(BitWriter& to, const JsonValue& json) {
  json.allowOnly({"hand-over_type", "origin_type", "network_id", "initial_service_id"});
  const std::uint32_t type = readNumber(json, "hand-over_type", 4);
  const std::uint32_t origin = readNumber(json, "origin_type", 1);
  to.bits(type, 4).reserved(3).bits(origin, 1);
  if (hasNetworkId(type)) put(to, json, "network_id", 16);
  if (origin == kFromNit) put(to, json, "initial_service_id", 16);
}

OrderedJson takeHandOver(BitReader& from) {
  const std::uint32_t type = from.bits(4);
  from.bits(3);
  const std::uint32_t origin = from.bits(1);
  OrderedJson json{{"hand-over_type", type}, {"origin_type", origin}};
  if (hasNetworkId(type)) json["network_id"] = from.bits(16);
  if (origin == kFromNit) json["initial_service_id"] = from.bits(16);
  return json;
}

void putEventLinkage(BitWriter& to, const JsonValue& json) {
  json.allowOnly({"target_event_id", "target_listed", "event_simulcast"});
  put(to, json, "target_event_id", 16);
  putFlag(to, json, "target_listed");
  putFlag(to, json, "event_simulcast");
  to.reserved(6);
}

OrderedJson takeEventLinkage(BitReader& from) {
  OrderedJson json{
      {"target_event_id", from.bits(16)}, {"target_listed", from.flag()}, {"event_simulcast", from.flag()}};
  from.bits(6);
  return json;
}

std::string encodeLinkage(const JsonValue& json) {
  json.allowOnly({"transport_stream_id", "original_network_id", "service_id", "linkage_type",
                  "mobile_hand-over_info", "event_linkage_info", "private_data"});
  const std::uint32_t type = readNumber(json, "linkage_type", 8);
  BitWriter to;
  put(to, json, "transport_stream_id", 16);
  put(to, json, "original_network_id", 16);
  put(to, json, "service_id", 16);
  to.bits(type, 8);
  if (type == kMobileHandOver) putHandOver(to, json.required("mobile_hand-over_info"));
  if (type == kEventLinkage) putEventLinkage(to, json.required("event_linkage_info"));
  return to.bytes(readBytes(json, "private_data", kMaxDescriptorData - to.written().size())).written();
}

OrderedJson decodeLinkage(BitReader& from) {
  OrderedJson json{{"transport_stream_id", from.bits(16)},
                   {"original_network_id", from.bits(16)},
                   {"service_id", from.bits(16)},
                   {"linkage_type", from.bits(8)}};
  if (json["linkage_type"] == kMobileHandOver) json["mobile_hand-over_info"] = takeHandOver(from);
  if (json["linkage_type"] == kEventLinkage) json["event_linkage_info"] = takeEventLinkage(from);
  addBytes(json, "private_data", from.rest());
  return json;
}

// ---- a private descriptor that many networks share, IEC 62216 clause 9.3.7.2

constexpr std::size_t kChannelSize = 4;

std::string encodeLogicalChannel(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData / kChannelSize, [&to](std::size_t, const JsonValue& channel) {
    channel.allowOnly({"service_id", "visible_service_flag", "logical_channel_number"});
    put(to, channel, "service_id", 16);
    putFlag(to, channel, "visible_service_flag");
    to.reserved(5);
    put(to, channel, "logical_channel_number", 10);
  });
  return to.written();
}

OrderedJson decodeLogicalChannel(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    OrderedJson channel{{"service_id", entry.bits(16)}, {"visible_service_flag", entry.flag()}};
    entry.bits(5);
    channel["logical_channel_number"] = entry.bits(10);
    return channel;
  });
}

// ---- EN 300 468 clauses 6.2.5, 6.2.6, 6.2.23 and 6.2.24

constexpr LayoutField kMultilingualName[] = {language(), countedText("name")};

// ---- EN 300 468 clause 6.2.10

constexpr const char* kCountries = "countries";
constexpr std::size_t kCountrySize = 3;

std::string encodeCountryAvailability(const JsonValue& json) {
  json.allowOnly({"country_availability_flag", kCountries});
  BitWriter to;
  putFlag(to, json, "country_availability_flag");
  to.reserved(7);
  forEach(json.required(kCountries), kMaxDescriptorData / kCountrySize,
          [&to](std::size_t, const JsonValue& country) {
            country.allowOnly({kCountryField});
            to.bytes(readCountry(country));
          });
  return to.written();
}

OrderedJson decodeCountryAvailability(BitReader& from) {
  OrderedJson json{{"country_availability_flag", from.flag()}};
  from.bits(7);
  json[kCountries] = takeAll(from, [](BitReader& entry) {
    return OrderedJson{{kCountryField, takeCountry(entry)}};
  });
  return json;
}

// ---- EN 300 468 clause 6.2.17: frequencies as the delivery systems have them, in Hz

constexpr const char* kFrequencies = "centre_frequencies";
constexpr std::size_t kFrequencySize = 4;
constexpr unsigned kCentreFrequencyDigits = 8;

enum CodingType : std::uint32_t { kSatellite = 1, kCable = 2, kTerrestrial = 3 };

/// The steps in which a frequency goes out.
std::uint32_t stepOf(std::uint32_t codingType) {
  return codingType == kSatellite ? 10000 : codingType == kCable ? 100 : codingType == kTerrestrial ? 10 : 1;
}

bool isDecimal(std::uint32_t codingType) { return codingType == kSatellite || codingType == kCable; }

std::string encodeFrequencyList(const JsonValue& json) {
  json.allowOnly({"coding_type", kFrequencies});
  const std::uint32_t type = readNumber(json, "coding_type", 2);
  BitWriter to;
  to.reserved(6).bits(type, 2);
  forEach(json.required(kFrequencies), kMaxDescriptorData / kFrequencySize,
          [&](std::size_t, const JsonValue& entry) {
            entry.allowOnly({"centre_frequency"});
            to.bits(isDecimal(type) ? readDecimal(entry, "centre_frequency", stepOf(type), kCentreFrequencyDigits)
                                    : readMultiple(entry, "centre_frequency", stepOf(type), 32),
                    32);
          });
  return to.written();
}

OrderedJson decodeFrequencyList(BitReader& from) {
  from.bits(6);
  const std::uint32_t type = from.bits(2);
  OrderedJson json{{"coding_type", type}};
  json[kFrequencies] = takeAll(from, [type](BitReader& entry) {
    return OrderedJson{{"centre_frequency", isDecimal(type)
                                                ? takeDecimal(entry, stepOf(type), kCentreFrequencyDigits)
                                                : std::uint64_t{entry.bits(32)} * stepOf(type)}};
  });
  return json;
}

// ---- TS 102 323 clause 6.3.1

std::string encodeDefaultAuthority(const JsonValue& json) {
  json.allowOnly({"default_authority"});
  return readAscii(json, "default_authority", kMaxDescriptorData);
}

OrderedJson decodeDefaultAuthority(BitReader& from) { return {{"default_authority", asciiOf(from, from.rest())}}; }

// ---- EN 300 468 clause 6.2.16; ETSI TS 101 162 has the extensions

constexpr LayoutField kExtension[] = {number("descriptor_tag_extension", 8), bytes("selector")};

}  // namespace

DescriptorForms networkForms() {
  return {{0x40, "network_name", encodeNetworkName, decodeName},
          {0x41, "service_list", encodeServiceList, decodeServiceList},
          {0x47, "bouquet_name", encodeBouquetName, decodeName},
          {0x4A, "linkage", encodeLinkage, decodeLinkage},
          loop<kMultilingualName>(0x5B, "multilingual_network_name"),
          loop<kMultilingualName>(0x5C, "multilingual_bouquet_name"),
          {0x49, "country_availability", encodeCountryAvailability, decodeCountryAvailability},
          {0x62, "frequency_list", encodeFrequencyList, decodeFrequencyList},
          {0x73, "default_authority", encodeDefaultAuthority, decodeDefaultAuthority},
          fields<kExtension>(0x7F, "extension"),
          {0x83, "logical_channel", encodeLogicalChannel, decodeLogicalChannel, TagOwner::kEacem}};
}

}  // namespace vantor::tables
