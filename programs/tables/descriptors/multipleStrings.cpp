#include "programs/tables/descriptors/multipleStrings.h"

#include <optional>

#include "programs/tables/descriptors/layouts.h"
#include "programs/tables/values/charsets.h"

namespace vantor::tables {

namespace {

constexpr const char* kText = "text";
constexpr const char* kSegments = "segments";
constexpr std::size_t kMost = 255;
constexpr const char* kCharset = "ISO-8859-1";  // mode 0: U+0000 to U+00FF

constexpr LayoutField kSegment[] = {number("compression_type", 8), number("mode", 8), countedBytes("data")};

bool holdsControls(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) return true;
  }
  return false;
}

std::string latin(const JsonValue& json) {
  const auto bytes = convertText(kCharset, "UTF-8", json.string());
  if (!bytes || holdsControls(*bytes))
    json.fail(json.shown() + " has other characters than the printable ones from U+0020 to U+00FF");
  if (bytes->size() > kMost)
    json.fail("the text takes " + std::to_string(bytes->size()) + " bytes, at most " + std::to_string(kMost) +
              " fit");
  return *bytes;
}

void putString(BitWriter& to, const JsonValue& json) {
  to.bytes(readLanguage(json));
  if (const auto text = json.optional(kText)) {
    json.allowOnly({kLanguageField, kText});
    to.bits(1, 8).bits(0, 16).counted(latin(*text));
    return;
  }
  json.allowOnly({kLanguageField, kSegments});
  const JsonValue segments = json.required(kSegments);
  to.bits(static_cast<std::uint32_t>(segments.size()), 8);
  forEach(segments, kMost, [&to](std::size_t, const JsonValue& segment) {
    putFields(to, segment, std::begin(kSegment), std::end(kSegment));
  });
}

/// The text of a single segment that has one.
std::optional<std::string> textIn(const OrderedJson& segments, std::string_view bytes) {
  if (segments.size() != 1 || segments[0]["compression_type"] != 0 || segments[0]["mode"] != 0) return std::nullopt;
  return holdsControls(bytes) ? std::nullopt : convertText("UTF-8", kCharset, bytes);
}

OrderedJson takeString(BitReader& from) {
  OrderedJson json{{kLanguageField, takeLanguage(from)}};
  OrderedJson segments = OrderedJson::array();
  std::string_view bytes;
  for (auto count = from.bits(8); count > 0 && from.isGood(); --count) {
    OrderedJson segment{{"compression_type", from.bits(8)}, {"mode", from.bits(8)}};
    bytes = from.counted();
    addBytes(segment, "data", bytes);
    segments.push_back(std::move(segment));
  }
  if (const auto text = textIn(segments, bytes))
    json[kText] = *text;
  else
    json[kSegments] = std::move(segments);
  return json;
}

}  // namespace

std::string readMultipleStrings(const JsonValue& json, std::size_t room) {
  BitWriter to;
  to.bits(static_cast<std::uint32_t>(json.size()), 8);
  forEach(json, kMost, [&to](std::size_t, const JsonValue& string) { putString(to, string); });
  if (to.written().size() > room)
    json.fail("the text takes " + std::to_string(to.written().size()) + " bytes, at most " + std::to_string(room) +
              " fit");
  return to.written();
}

OrderedJson takeMultipleStrings(BitReader& from) {
  OrderedJson strings = OrderedJson::array();
  for (auto count = from.bits(8); count > 0 && from.isGood(); --count) strings.push_back(takeString(from));
  return strings;
}

}  // namespace vantor::tables
