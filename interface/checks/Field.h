#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "interface/checks/Refusal.h"

/// What the checks of all records are made of. A check returns false when it fails, after it gave its refusal to
/// the record that the field belongs to. Only a check that fails makes strings. Safe to call from any thread.

namespace vantor {

constexpr std::int64_t kMax1Bit = 0x1;
constexpr std::int64_t kMax2Bits = 0x3;
constexpr std::int64_t kMax3Bits = 0x7;
constexpr std::int64_t kMax5Bits = 0x1F;
constexpr std::int64_t kMax6Bits = 0x3F;
constexpr std::int64_t kMax8Bits = 0xFF;
constexpr std::int64_t kMax10Bits = 0x3FF;
constexpr std::int64_t kMax16Bits = 0xFFFF;
constexpr std::int64_t kMax24Bits = 0xFFFFFF;
constexpr std::int64_t kMax32Bits = 0xFFFFFFFF;
constexpr std::int64_t kMax40Bits = 0xFFFFFFFFFF;

/// Names a field of a record. It only points at its parent and its name, which must outlive it.
class Field {
 public:
  /// The record itself, which takes what is refused in it.
  explicit Field(std::optional<Refusal>& refusal) : refusal(&refusal) {}

  Field operator[](const char* member) const { return {this, member, std::nullopt}; }
  Field element(const char* list, std::size_t i) const { return {this, list, static_cast<std::int64_t>(i)}; }
  /// An element of the list that this field is.
  Field element(std::size_t i) const { return {this, nullptr, static_cast<std::int64_t>(i)}; }
  /// What a map has under a number.
  Field entry(const char* map, std::int64_t key) const { return {this, map, key}; }

  /// Refuses the field's value. Returns false, so that a check can end with it.
  bool refuse(std::string value, std::string reason) const;
  bool refuse(std::string reason) const { return refuse("", std::move(reason)); }

 private:
  Field(const Field* parent, const char* name, std::optional<std::int64_t> index)
      : parent(parent), name(name), index(index) {}

  std::string pointer() const;

  std::optional<Refusal>* refusal = nullptr;  // of the record itself only
  const Field* parent = nullptr;
  const char* name = nullptr;
  std::optional<std::int64_t> index;
};

/// What the checks of a record, in canBeSent, come to.
template <typename Record>
[[nodiscard]] std::optional<Refusal> refusalOf(const Record& record,
                                               bool (*canBeSent)(const Field&, const Record&)) {
  std::optional<Refusal> refusal;
  if (canBeSent(Field(refusal), record)) return std::nullopt;
  return refusal;
}

/// A number as values and reasons show it: "0x4E".
std::string hex(std::int64_t value);

/// True when the value is between 0 and `max`.
[[nodiscard]] bool inRange(const Field& field, std::int64_t value, std::int64_t max);

}  // namespace vantor
