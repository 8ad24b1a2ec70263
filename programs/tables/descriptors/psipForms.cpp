#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/layouts.h"
#include "programs/tables/descriptors/multipleStrings.h"

/// Descriptors of ATSC's tables.

namespace vantor::tables {

namespace {

// ---- ATSC A/65 clause 6.9.6

constexpr std::size_t kElementSize = 6;
const std::string kNoLanguage(3, '\0');

OrderedJson takeElement(BitReader& entry) {
  OrderedJson element{{"stream_type", entry.bits(8)}};
  entry.bits(3);
  element["elementary_PID"] = takePid(entry);
  const std::string_view language = entry.bytes(kNoLanguage.size());
  if (language != kNoLanguage) {
    BitReader code(language);
    element[kLanguageField] = takeLanguage(code);
    if (!code.isGood()) entry.fail();
  }
  return element;
}

std::string encodeServiceLocation(const JsonValue& json) {
  json.allowOnly({"PCR_PID", "elements"});
  const JsonValue elements = json.required("elements");
  BitWriter to;
  to.reserved(3);
  to.bits(readPidField(json, "PCR_PID"), 13);
  to.bits(static_cast<std::uint32_t>(elements.size()), 8);
  forEach(elements, kMaxDescriptorData / kElementSize, [&to](std::size_t, const JsonValue& element) {
    element.allowOnly({"stream_type", "elementary_PID", kLanguageField});
    put(to, element, "stream_type", 8);
    to.reserved(3);
    to.bits(readPidField(element, "elementary_PID"), 13);
    to.bytes(element.optional(kLanguageField) ? readLanguage(element) : kNoLanguage);
  });
  return to.written();
}

OrderedJson decodeServiceLocation(BitReader& from) {
  from.bits(3);
  OrderedJson json{{"PCR_PID", takePid(from)}};
  from.bits(8);
  json["elements"] = takeAll(from, takeElement);
  return json;
}

// ---- A/65 clauses 6.9.4 and 6.9.7

std::string encodeExtendedChannelName(const JsonValue& json) {
  json.allowOnly({"long_channel_name"});
  return readMultipleStrings(json.required("long_channel_name"), kMaxDescriptorData);
}

OrderedJson decodeExtendedChannelName(BitReader& from) {
  return {{"long_channel_name", takeMultipleStrings(from)}};
}

std::string encodeComponentName(const JsonValue& json) {
  json.allowOnly({"component_name"});
  return readMultipleStrings(json.required("component_name"), kMaxDescriptorData);
}

OrderedJson decodeComponentName(BitReader& from) { return {{"component_name", takeMultipleStrings(from)}}; }

// ---- A/65 clause 6.9.2

constexpr std::size_t kMostServices = 31;  // number_of_services has 5 bits
constexpr const char* kDigital = "digital_cc";

std::string encodeCaptionServices(const JsonValue& json) {
  BitWriter to;
  to.reserved(3).bits(static_cast<std::uint32_t>(json.size()), 5);
  forEach(json, kMostServices, [&to](std::size_t, const JsonValue& service) {
    const bool isDigital = readFlag(service, kDigital);
    const char* const which = isDigital ? "caption_service_number" : "line21_field";
    service.allowOnly({kLanguageField, kDigital, which, "easy_reader", "wide_aspect_ratio"});
    to.bytes(readLanguage(service)).bits(isDigital ? 1 : 0, 1).reserved(1);
    if (isDigital)
      put(to, service, which, 6);
    else
      putFlag(to.reserved(5), service, which);
    putFlag(to, service, "easy_reader");
    putFlag(to, service, "wide_aspect_ratio");
    to.reserved(14);
  });
  return to.written();
}

OrderedJson takeCaptionService(BitReader& from) {
  OrderedJson service{{kLanguageField, takeLanguage(from)}, {kDigital, from.flag()}};
  from.bits(1);
  if (service[kDigital] == true) {
    service["caption_service_number"] = from.bits(6);
  } else {
    from.bits(5);
    service["line21_field"] = from.flag();
  }
  service["easy_reader"] = from.flag();
  service["wide_aspect_ratio"] = from.flag();
  from.bits(14);
  return service;
}

OrderedJson decodeCaptionServices(BitReader& from) {
  from.bits(8);
  return takeAll(from, takeCaptionService);
}

// ---- A/65 clause 6.9.3

constexpr std::size_t kMostRegions = 63;  // rating_region_count has 6 bits
constexpr LayoutField kRatedDimension[] = {number("rating_dimension_j", 8), reserved(4), number("rating_value", 4)};

void putRatings(BitWriter& to, const JsonValue& region) {
  region.allowOnly({"rating_region", "ratings", "rating_description"});
  put(to, region, "rating_region", 8);
  const JsonValue ratings = region.required("ratings");
  to.bits(static_cast<std::uint32_t>(ratings.size()), 8);
  forEach(ratings, kMaxDescriptorData, [&to](std::size_t, const JsonValue& rating) {
    putFields(to, rating, std::begin(kRatedDimension), std::end(kRatedDimension));
  });
  const auto description = region.optional("rating_description");
  to.counted(description ? readMultipleStrings(*description, kMaxDescriptorData) : "");
}

std::string encodeContentAdvisory(const JsonValue& json) {
  BitWriter to;
  to.reserved(2).bits(static_cast<std::uint32_t>(json.size()), 6);
  forEach(json, kMostRegions, [&to](std::size_t, const JsonValue& region) { putRatings(to, region); });
  return to.written();
}

OrderedJson takeRatings(BitReader& from) {
  OrderedJson region{{"rating_region", from.bits(8)}, {"ratings", OrderedJson::array()}};
  for (auto count = from.bits(8); count > 0 && from.isGood(); --count)
    region["ratings"].push_back(decodeFields<kRatedDimension>(from));
  const std::string_view text = from.counted();
  if (text.empty()) return region;
  BitReader description(text);
  region["rating_description"] = takeMultipleStrings(description);
  if (!description.isGood()) from.fail();
  return region;
}

OrderedJson decodeContentAdvisory(BitReader& from) {
  from.bits(8);
  return takeAll(from, takeRatings);
}

// ---- A/52 annex A clause 4.4; what follows full_svc differs between editions and stays as bytes

constexpr LayoutField kAc3Audio[] = {number("sample_rate_code", 3),
                                     number("bsid", 5),
                                     number("bit_rate_code", 6),
                                     number("surround_mode", 2),
                                     number("bsmod", 3),
                                     number("num_channels", 4),
                                     flag("full_svc"),
                                     bytes("additional_info")};

// ---- A/65 clause 6.9.12

constexpr LayoutField kRedistributionControl[] = {bytes("rc_information")};

}  // namespace

DescriptorForms psipForms() {
  constexpr TagOwner kOwner = TagOwner::kAtsc;
  return {fields<kAc3Audio>(0x81, "AC-3_audio_stream", kOwner),
          {0x86, "caption_service", encodeCaptionServices, decodeCaptionServices, kOwner},
          {0x87, "content_advisory", encodeContentAdvisory, decodeContentAdvisory, kOwner},
          {0xA0, "extended_channel_name", encodeExtendedChannelName, decodeExtendedChannelName, kOwner},
          {0xA1, "service_location", encodeServiceLocation, decodeServiceLocation, kOwner},
          {0xA3, "component_name", encodeComponentName, decodeComponentName, kOwner},
          fields<kRedistributionControl>(0xAA, "redistribution_control", kOwner)};
}

}  // namespace vantor::tables
