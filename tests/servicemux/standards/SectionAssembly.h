#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What a section says of itself at its front.
struct SectionHead {
  std::uint8_t table_id = 0;
  std::uint16_t extension = 0;  // 0 in a CAT, where it is reserved, and in a section without a long header
  std::uint16_t transport_stream_id = 0;  // of SDTs and EITs
  std::uint16_t original_network_id = 0;  // likewise
  std::uint8_t number = 0;
  int version = -1;  // -1 in a section without a long header
};

/// ISO/IEC 13818-1 annex A: 0 over a whole section whose CRC_32 is right.
[[nodiscard]] std::uint32_t crc32(const std::string& bytes);

/// Puts the sections of one PID together, packet by packet, and says what is wrong with them.
class SectionAssembly {
 public:
  /// What came of one packet. A pointer is null when there was nothing of the kind; it is valid until the next
  /// packet. Of several sections that one packet begins or ends, these are the last.
  struct Outcome {
    const SectionHead* begun = nullptr;
    const std::string* ended = nullptr;  ///< the bytes of a section that is whole
    const char* fault = nullptr;
  };

  /// Takes a packet of 188 bytes with payload only.
  Outcome take(const unsigned char* packet);
  /// Gives up what is under way, and waits for a section to begin.
  void restart();

  [[nodiscard]] bool isUnderWay() const { return !bytes.empty(); }
  /// Of the section that began last.
  [[nodiscard]] const SectionHead& lastHead() const { return head; }

 private:
  void begin(const unsigned char* payload, Outcome& outcome);
  void append(const unsigned char* data, std::size_t size, Outcome& outcome);
  void end(Outcome& outcome);

  SectionHead head;
  std::string bytes;  // of the section under way
  std::string whole;
  bool expectsBegin = true;
};
