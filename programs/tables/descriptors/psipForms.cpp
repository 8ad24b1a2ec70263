#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"

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

}  // namespace

DescriptorForms psipForms() { return {{0xA1, "service_location", encodeServiceLocation, decodeServiceLocation}}; }

}  // namespace vantor::tables
