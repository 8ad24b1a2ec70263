#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "interface/dvbpsi.h"
#include "interface/records.h"
#include "interface/sectioning.h"

/// What the converters share: checks that a record's values can be carried on the wire. A check that fails logs
/// the field and its value as an error, once, and returns false. Safe to call from any thread.

namespace vantor::thrift::dvb_tables {

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
constexpr std::int64_t kMaxPid = 0x1FFF;

/// descriptor_tag and descriptor_length.
constexpr std::size_t kDescriptorHeaderSize = 2;

/// Names a field of a record in messages, like "PAT: programs[3].pid". It only points at its parent and its name,
/// which must outlive it; the text is made when a check fails.
class Field {
 public:
  explicit Field(const char* table) : name(table) {}

  Field operator[](const char* member) const { return {this, member, kNoIndex}; }
  Field element(const char* list, std::size_t i) const { return {this, list, static_cast<std::ptrdiff_t>(i)}; }

  std::string path() const;

 private:
  static constexpr std::ptrdiff_t kNoIndex = -1;

  Field(const Field* parent, const char* name, std::ptrdiff_t index) : parent(parent), name(name), index(index) {}

  const Field* parent = nullptr;
  const char* name;
  std::ptrdiff_t index = kNoIndex;
};

/// Logs "path: reason" as an error. Returns false, so that a check can end with it.
bool refuse(const Field& field, const std::string& reason);

/// Like 0x4E, for reasons.
std::string hex(std::int64_t value);

/// True when the value is between 0 and `max`.
[[nodiscard]] bool inRange(const Field& field, std::int64_t value, std::int64_t max);

/// True unless negative. A version above 31 passes: whoever sends the table turns it into 0.
[[nodiscard]] bool isVersion(const Field& field, std::int64_t version);

/// The version in 8 bits; one that needs more becomes 255, so that it is still seen to be above 31.
std::uint8_t versionByte(std::int64_t version);

/// True when every tag and every length of the parent's list named `list` fits in its 8 bits. The length of the
/// whole list is the caller's to check.
[[nodiscard]] bool areDescriptors(const Field& parent, const char* list,
                                  const std::vector<Descriptor>& descriptors);

/// True when last_section_number can count so many sections.
[[nodiscard]] bool fitsSectionCount(const Field& field, std::size_t sections);

/// Bytes of a descriptor as sent.
inline std::size_t wireSize(const Descriptor& descriptor) { return kDescriptorHeaderSize + descriptor.data.size(); }

/// Bytes of a descriptor loop as sent, without its length field.
std::size_t wireSize(const std::vector<Descriptor>& descriptors);

/// Counts the sections that a table's items fill one after the other, each going whole into the section that has
/// room for it.
class SectionCount {
 public:
  explicit SectionCount(const SectionRoom& room) : room(room) {}

  /// An item with a descriptor loop, which may ask for a section of its own to begin. False when it fits no
  /// section.
  [[nodiscard]] bool add(const Field& item, const std::vector<Descriptor>& descriptors, bool startsSection = false);

  /// Bytes that are known to fit a section.
  void add(std::size_t size, bool startsSection = false);

  std::size_t count() const { return sections; }

 private:
  SectionRoom room;
  std::size_t sections = 1;
  std::size_t used = 0;
};

/// Hands checked descriptors to one of libdvbpsi's `dvbpsi_*_descriptor_add`, which copies them. False when it runs
/// out of memory.
template <typename Owner>
[[nodiscard]] bool addDescriptors(Owner* owner,
                                  dvbpsi_descriptor_t* (*add)(Owner*, std::uint8_t, std::uint8_t, std::uint8_t*),
                                  const std::vector<Descriptor>& descriptors) {
  for (const Descriptor& descriptor : descriptors) {
    const auto* data = reinterpret_cast<const std::uint8_t*>(descriptor.data.data());
    if (add(owner, static_cast<std::uint8_t>(descriptor.tag), static_cast<std::uint8_t>(descriptor.data.size()),
            const_cast<std::uint8_t*>(data)) == nullptr)
      return false;
  }
  return true;
}

}  // namespace vantor::thrift::dvb_tables
