#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "interface/checks/Field.h"
#include "interface/dvbpsi.h"
#include "interface/records.h"
#include "interface/sectioning.h"

/// What the converters share: checks that a record's values can be carried on the wire, and what becomes of one
/// that fails. Safe to call from any thread.

namespace vantor::thrift::dvb_tables {

/// descriptor_tag and descriptor_length.
constexpr std::size_t kDescriptorHeaderSize = 2;

/// True when there is a refusal. Logs it then as an error, with the record's name and the field before it, like
/// "PAT: programs[3].pid: 9000 is above 0x1FFF".
[[nodiscard]] bool isRefused(const char* record, const std::optional<Refusal>& refusal);

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
