#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/generated.h"
#include "programs/tables/descriptors/layouts.h"

/// Descriptors of events.

namespace vantor::tables {

namespace {

// ---- EN 300 468 clause 6.2.37

std::string encodeShortEvent(const JsonValue& json) {
  constexpr std::size_t kRoom = kMaxDescriptorData - 5;  // language and two lengths
  json.allowOnly({kLanguageField, "event_name", "text"});
  dvbpsi_short_event_dr_t record{};
  fill(record.i_iso_639_code, readLanguage(json));
  const std::string name = readText(json, "event_name", kRoom);
  const std::string text = readText(json, "text", kRoom - name.size());
  record.i_event_name_length = static_cast<int>(name.size());
  fill(record.i_event_name, name);
  record.i_text_length = static_cast<int>(text.size());
  fill(record.i_text, text);
  return generated(dvbpsi_GenShortEventDr, record);
}

OrderedJson decodeShortEvent(BitReader& from) {
  return {{kLanguageField, takeLanguage(from)},
          {"event_name", textOf(from, from.counted())},
          {"text", textOf(from, from.counted())}};
}

// ---- EN 300 468 clause 6.2.15

/// The items, of which the bytes fit the room.
std::string encodeItems(const JsonValue& list, std::size_t room) {
  constexpr std::size_t kLengths = 2;
  BitWriter to;
  forEach(list, room / kLengths, [&](std::size_t i, const JsonValue& json) {
    json.allowOnly({"item_description", "item"});
    const std::size_t left = room - to.written().size();
    if (left < kLengths) list.fail(std::to_string(i) + " of " + std::to_string(list.size()) + " items fit");
    const std::string description = readText(json, "item_description", left - kLengths);
    const std::string item = readText(json, "item", left - kLengths - description.size());
    to.counted(description).counted(item);
  });
  return to.written();
}

std::string encodeExtendedEvent(const JsonValue& json) {
  constexpr std::size_t kRoom = kMaxDescriptorData - 6;  // numbers, language and two lengths
  json.allowOnly({"descriptor_number", "last_descriptor_number", kLanguageField, "items", "text"});
  BitWriter to;
  put(to, json, "descriptor_number", 4);
  put(to, json, "last_descriptor_number", 4);
  to.bytes(readLanguage(json));
  const std::string items = encodeItems(json.required("items"), kRoom);
  return to.counted(items).counted(readText(json, "text", kRoom - items.size())).written();
}

OrderedJson decodeItems(BitReader& from) {
  BitReader items(from.counted());
  OrderedJson list = takeAll(items, [](BitReader& item) {
    return OrderedJson{{"item_description", textOf(item, item.counted())}, {"item", textOf(item, item.counted())}};
  });
  if (!items.isGood()) from.fail();
  return list;
}

OrderedJson decodeExtendedEvent(BitReader& from) {
  return {{"descriptor_number", from.bits(4)},
          {"last_descriptor_number", from.bits(4)},
          {kLanguageField, takeLanguage(from)},
          {"items", decodeItems(from)},
          {"text", textOf(from, from.counted())}};
}

// ---- EN 300 468 clause 6.2.8

std::string encodeComponent(const JsonValue& json) {
  json.allowOnly(
      {"stream_content_ext", "stream_content", "component_type", "component_tag", kLanguageField, "text"});
  BitWriter to;
  put(to, json, "stream_content_ext", 4);
  put(to, json, "stream_content", 4);
  put(to, json, "component_type", 8);
  put(to, json, "component_tag", 8);
  to.bytes(readLanguage(json));
  return to.bytes(readText(json, "text", kMaxDescriptorData - to.written().size())).written();
}

OrderedJson decodeComponent(BitReader& from) {
  return {{"stream_content_ext", from.bits(4)}, {"stream_content", from.bits(4)},
          {"component_type", from.bits(8)},     {"component_tag", from.bits(8)},
          {kLanguageField, takeLanguage(from)}, {"text", textOf(from, from.rest())}};
}

// ---- EN 300 468 clause 6.2.9

constexpr std::size_t kContentSize = 2;

std::string encodeContent(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData / kContentSize, [&to](std::size_t, const JsonValue& content) {
    content.allowOnly({"content_nibble_level_1", "content_nibble_level_2", "user_byte"});
    put(to, content, "content_nibble_level_1", 4);
    put(to, content, "content_nibble_level_2", 4);
    put(to, content, "user_byte", 8);
  });
  return to.written();
}

OrderedJson decodeContent(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    return OrderedJson{{"content_nibble_level_1", entry.bits(4)},
                       {"content_nibble_level_2", entry.bits(4)},
                       {"user_byte", entry.bits(8)}};
  });
}

// ---- EN 300 468 clause 6.2.28

constexpr std::size_t kRatingSize = 4;

std::string encodeParentalRating(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData / kRatingSize, [&to](std::size_t, const JsonValue& rating) {
    rating.allowOnly({kCountryField, "rating"});
    to.bytes(readCountry(rating));
    put(to, rating, "rating", 8);
  });
  return to.written();
}

OrderedJson decodeParentalRating(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    return OrderedJson{{kCountryField, takeCountry(entry)}, {"rating", entry.bits(8)}};
  });
}

// ---- EN 300 468 clauses 6.2.30, 6.2.38 and 6.2.45

constexpr LayoutField kTimeShiftedEvent[] = {number("reference_service_id", 16), number("reference_event_id", 16)};
constexpr LayoutField kShortSmoothingBuffer[] = {number("sb_size", 2), number("sb_leak_rate", 6),
                                                 bytes("reserved")};
/// The parts of programme_identification_label.
constexpr LayoutField kPdc[] = {reserved(4), number("day", 5), number("month", 4), number("hour", 5),
                                number("minute", 6)};

// ---- TS 102 323 clauses 5.3, 10.3 and 11.2.4

constexpr LayoutField kTvaId[] = {number("TVA_id", 16), reserved(5), number("running_status", 3)};

// ---- TS 102 323 clause 12.1

constexpr std::uint32_t kCridInDescriptor = 0;
constexpr std::uint32_t kCridInTable = 1;

std::string encodeContentIdentifiers(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData, [&to](std::size_t, const JsonValue& crid) {
    const std::uint32_t location = readNumber(crid, "crid_location", 2);
    put(to, crid, "crid_type", 6);
    to.bits(location, 2);
    if (location == kCridInDescriptor) {
      crid.allowOnly({"crid_type", "crid_location", "crid"});
      to.counted(readAscii(crid, "crid", kMaxDescriptorData));
    } else if (location == kCridInTable) {
      crid.allowOnly({"crid_type", "crid_location", "crid_ref"});
      put(to, crid, "crid_ref", 16);
    } else {
      crid.required("crid_location").fail("is reserved");
    }
  });
  return to.written();
}

OrderedJson decodeContentIdentifiers(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    OrderedJson crid{{"crid_type", entry.bits(6)}, {"crid_location", entry.bits(2)}};
    if (crid["crid_location"] == kCridInDescriptor)
      crid["crid"] = asciiOf(entry, entry.counted());
    else
      crid["crid_ref"] = entry.bits(16);
    return crid;
  });
}

// ---- TS 102 323 clause 10.3: nothing but that it is there

std::string encodeRelatedContent(const JsonValue& json) {
  json.allowOnly({});
  return "";
}

OrderedJson decodeRelatedContent(BitReader& /*from*/) { return OrderedJson::object(); }

}  // namespace

DescriptorForms eventForms() {
  return {fields<kTimeShiftedEvent>(0x4F, "time_shifted_event"),
          fields<kShortSmoothingBuffer>(0x61, "short_smoothing_buffer"),
          fields<kPdc>(0x69, "PDC"),
          {0x74, "related_content", encodeRelatedContent, decodeRelatedContent},
          loop<kTvaId>(0x75, "TVA_id"),
          {0x76, "content_identifier", encodeContentIdentifiers, decodeContentIdentifiers},
          {0x4D, "short_event", encodeShortEvent, decodeShortEvent},
          {0x4E, "extended_event", encodeExtendedEvent, decodeExtendedEvent},
          {0x50, "component", encodeComponent, decodeComponent},
          {0x54, "content", encodeContent, decodeContent},
          {0x55, "parental_rating", encodeParentalRating, decodeParentalRating}};
}

}  // namespace vantor::tables
