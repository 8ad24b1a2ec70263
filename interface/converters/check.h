#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "interface/checks/Field.h"
#include "interface/dvbpsi.h"
#include "interface/psi/descriptors.h"
#include "interface/psi/pids.h"
#include "interface/psi/sectioning.h"
#include "interface/records.h"

/// What the converters share: checks that a record's values can be carried on the wire, and what becomes of one
/// that fails. Safe to call from any thread.

namespace vantor::thrift::dvb_tables {

/// True when there is a refusal. Logs it then as an error, with the record's name and the field before it, like
/// "PAT: programs[3].pid: 9000 is above 0x1FFF".
[[nodiscard]] bool isRefused(const char* record, const std::optional<Refusal>& refusal);

/// True unless the version is negative. A version above 31 is not refused, because whoever sends the table turns it
/// into 0.
[[nodiscard]] bool isVersion(const Field& field, std::int64_t version);

/// The version in the 8 bits that libdvbpsi's tables have for it. A greater one becomes 255, so that it stays above
/// 31 and is turned into 0 when it is sent.
std::uint8_t versionByte(std::int64_t version);

/// True when the tag and the length of every descriptor fit in 8 bits each. `list` is what the parent calls these
/// descriptors. The caller still has to check the length of them all together.
[[nodiscard]] bool areDescriptors(const Field& parent, const char* list,
                                  const std::vector<Descriptor>& descriptors);

/// True when there are at most 256 sections, which is what section_number can count.
[[nodiscard]] bool fitsSectionCount(const Field& field, std::size_t sections);

/// Bytes of a descriptor as sent.
inline std::size_t wireSize(const Descriptor& descriptor) { return kDescriptorHeaderSize + descriptor.data.size(); }

/// Bytes of a descriptor loop as sent, without its length field.
std::size_t wireSize(const std::vector<Descriptor>& descriptors);

/// Counts the sections that a table needs for its items. An item is never divided: when the section that was begun
/// last has no room for it, another section begins with it.
class SectionCount {
 public:
  explicit SectionCount(const SectionRoom& room) : room(room) {}

  /// Adds an item with a descriptor loop. With `startsSection` a new section begins with it in any case. False when
  /// the item is too long for a section.
  [[nodiscard]] bool add(const Field& item, const std::vector<Descriptor>& descriptors, bool startsSection = false);

  /// Adds an item of so many bytes, which must not be too long for a section.
  void add(std::size_t size, bool startsSection = false);

  std::size_t count() const { return sections; }

 private:
  SectionRoom room;
  std::size_t sections = 1;
  std::size_t used = 0;
};

/// Adds descriptors to a table of libdvbpsi or to an item of one. `add` is its function for that,
/// `dvbpsi_*_descriptor_add`, which copies the bytes. The descriptors must have passed areDescriptors. False when
/// there is no memory left.
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
