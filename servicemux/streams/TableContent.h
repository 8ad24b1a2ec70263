#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vantor {

/// What a stream has to send of one table: its packets, section by section, and how far they have been taken. It
/// starts over behind the last one. It knows nothing of time: when a packet is taken, the pacing decides. Not
/// thread-safe.
class TableContent {
 public:
  [[nodiscard]] bool empty() const { return packets.empty(); }
  [[nodiscard]] const std::string& bytes() const { return packets; }

  /// Swaps whole packets in (the caller gets the old ones) and starts from the first.
  void swap(std::string& newPackets);
  void clear();

  /// Whether the next packet is the table's first.
  [[nodiscard]] bool isAtBeginning() const { return readOffset == 0; }
  /// Whether the next packet begins a section.
  [[nodiscard]] bool beginsSection() const;

  /// Copies the next packet, 188 bytes, of content that is not empty.
  void take(signed char* packet);

  /// How many packets each section has.
  [[nodiscard]] std::vector<std::uint32_t> sectionPackets() const;

  /// Appends the packets of one section; false when there are not so many sections.
  [[nodiscard]] bool copySection(std::size_t section, std::string& to) const;

 private:
  [[nodiscard]] std::size_t sectionEnd(std::size_t section) const;

  std::string packets;
  std::vector<std::uint32_t> sections;  // where each one begins, in packets
  std::size_t readOffset = 0;
};

}  // namespace vantor
