#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "interface/dvbpsi.h"
#include "interface/records.h"

/// What the converters share: checks that a record's values can be carried on the wire. A check that fails logs
/// the field and its value as an error, once, and returns false. Safe to call from any thread.

namespace vantor::thrift::dvb_tables {

constexpr std::int64_t kMax8Bits = 0xFF;
constexpr std::int64_t kMax16Bits = 0xFFFF;
constexpr std::int64_t kMaxPid = 0x1FFF;

/// section_number and last_section_number have 8 bits.
constexpr std::size_t kMaxSections = 256;

/// Bytes of a whole section, for all tables but the EIT: ISO/IEC 13818-1 clause 2.4.4, EN 300 468 clause 5.1.1.
constexpr std::size_t kMaxSectionSize = 1024;

/// Bytes of a section with the long header around its payload: the header up to last_section_number, and CRC_32.
constexpr std::size_t kSectionOverhead = 12;

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
