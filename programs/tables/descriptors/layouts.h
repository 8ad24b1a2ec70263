#pragma once

#include <cstddef>
#include <iterator>
#include <string>

#include "programs/tables/descriptors/BitReader.h"
#include "programs/tables/descriptors/BitWriter.h"
#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

/// Descriptors whose fields follow one another, whatever their values: told by a list of the fields.

namespace vantor::tables {

/// One field, in the order of the wire.
struct LayoutField {
  enum class Kind {
    kNumber,
    kFlag,
    kReserved,     ///< ones
    kLanguage,     ///< three letters
    kText,         ///< up to the end
    kCountedText,  ///< behind a length of 8 bits
    kBytes,        ///< hex digits, up to the end
    kCountedBytes  ///< behind a length of 8 bits
  };

  Kind kind;
  unsigned size = 0;  ///< bits of a number, or reserved
  const char* name = nullptr;
};

constexpr LayoutField number(const char* name, unsigned bits) { return {LayoutField::Kind::kNumber, bits, name}; }
constexpr LayoutField flag(const char* name) { return {LayoutField::Kind::kFlag, 0, name}; }
constexpr LayoutField reserved(unsigned bits) { return {LayoutField::Kind::kReserved, bits}; }
constexpr LayoutField language() { return {LayoutField::Kind::kLanguage, 0, kLanguageField}; }
constexpr LayoutField text(const char* name) { return {LayoutField::Kind::kText, 0, name}; }
constexpr LayoutField countedText(const char* name) { return {LayoutField::Kind::kCountedText, 0, name}; }
constexpr LayoutField bytes(const char* name) { return {LayoutField::Kind::kBytes, 0, name}; }
constexpr LayoutField countedBytes(const char* name) { return {LayoutField::Kind::kCountedBytes, 0, name}; }

/// The fields of one object; of others it has none.
void putFields(BitWriter& to, const JsonValue& json, const LayoutField* first, const LayoutField* last);
OrderedJson takeFields(BitReader& from, const LayoutField* first, const LayoutField* last);

/// A payload with these fields.
template <const auto& Layout>
std::string encodeFields(const JsonValue& json) {
  BitWriter to;
  putFields(to, json, std::begin(Layout), std::end(Layout));
  return to.written();
}

template <const auto& Layout>
OrderedJson decodeFields(BitReader& from) {
  return takeFields(from, std::begin(Layout), std::end(Layout));
}

/// A payload that has them again and again up to its end, an array in JSON.
template <const auto& Layout>
std::string encodeLoop(const JsonValue& json) {
  BitWriter to;
  forEach(json, 0xFF, [&to](std::size_t, const JsonValue& entry) {
    putFields(to, entry, std::begin(Layout), std::end(Layout));
  });
  return to.written();
}

template <const auto& Layout>
OrderedJson decodeLoop(BitReader& from) {
  return takeAll(from, [](BitReader& entry) { return takeFields(entry, std::begin(Layout), std::end(Layout)); });
}

/// The forms of descriptors that have nothing but these fields, or a loop of them.
template <const auto& Layout>
DescriptorForm fields(std::uint8_t tag, const char* name, TagOwner owner = TagOwner::kStandard) {
  return {tag, name, encodeFields<Layout>, decodeFields<Layout>, owner};
}

template <const auto& Layout>
DescriptorForm loop(std::uint8_t tag, const char* name, TagOwner owner = TagOwner::kStandard) {
  return {tag, name, encodeLoop<Layout>, decodeLoop<Layout>, owner};
}

}  // namespace vantor::tables
