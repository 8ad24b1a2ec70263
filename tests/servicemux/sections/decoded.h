#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "servicemux/sections/sections.h"

/// Sections taken apart without libdvbpsi.

using Bytes = std::vector<std::uint8_t>;

inline unsigned wordAt(const Bytes& bytes, std::size_t at) { return bytes.at(at) << 8U | bytes.at(at + 1); }

/// ISO/IEC 13818-1 annex A: zero over a section with its CRC_32.
inline std::uint32_t crcOver(const Bytes& section) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : section) {
    crc ^= std::uint32_t{byte} << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000) != 0 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
  }
  return crc;
}

/// The sections of a chain, each with its CRC_32, which is right.
inline std::vector<Bytes> bytesOf(const vantor::SectionChain& chain) {
  std::vector<Bytes> sections;
  for (const auto* section = chain.get(); section != nullptr; section = section->p_next) {
    sections.emplace_back(section->p_data, section->p_payload_end + 4);
    EXPECT_EQ(crcOver(sections.back()), 0U);
  }
  return sections;
}

/// What a generator of libdvbpsi makes by itself; it is called with a handle.
template <typename Generator>
std::vector<Bytes> generatedByLibdvbpsi(Generator generator) {
  dvbpsi_t* const handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
  const vantor::SectionChain sections(generator(handle));
  dvbpsi_delete(handle);
  return bytesOf(sections);
}

/// One service or event: its identifier and its descriptor loop.
struct Item {
  unsigned id;
  Bytes loop;
  bool operator==(const Item& other) const { return id == other.id && loop == other.loop; }
};

/// One section of an SDT or EIT.
struct Decoded {
  unsigned tableId;
  unsigned number;
  unsigned lastNumber;
  unsigned segmentLast;  // EIT
  unsigned lastTableId;  // EIT
  std::size_t size;
  std::vector<Item> items;

  [[nodiscard]] std::vector<unsigned> ids() const {
    std::vector<unsigned> all;
    for (const Item& item : items) all.push_back(item.id);
    return all;
  }
};

/// How the items of a table lie in its sections.
struct Shape {
  std::size_t itemsAt;
  std::size_t itemHead;  // up to the loop, whose length it ends with
};
constexpr Shape kSdtShape{11, 5};
constexpr Shape kEitShape{14, 12};

inline Decoded decode(const dvbpsi_psi_section_t& section, const Shape& shape) {
  const Bytes bytes(section.p_data, section.p_payload_end + 4);
  EXPECT_EQ(crcOver(bytes), 0U);
  EXPECT_EQ((wordAt(bytes, 1) & 0xFFFU) + 3, bytes.size());
  Decoded out{bytes[0], bytes[6], bytes[7], bytes.at(12), bytes.at(13), bytes.size(), {}};
  std::size_t at = shape.itemsAt;
  while (at + shape.itemHead <= bytes.size() - 4) {
    const std::size_t length = wordAt(bytes, at + shape.itemHead - 2) & 0xFFFU;
    const auto loop = bytes.begin() + static_cast<std::ptrdiff_t>(at + shape.itemHead);
    out.items.push_back({wordAt(bytes, at), Bytes(loop, loop + static_cast<std::ptrdiff_t>(length))});
    at += shape.itemHead + length;
  }
  EXPECT_EQ(at, bytes.size() - 4);
  return out;
}

inline std::vector<Decoded> decode(const vantor::SectionChain& chain, const Shape& shape) {
  std::vector<Decoded> out;
  for (const auto* section = chain.get(); section != nullptr; section = section->p_next)
    out.push_back(decode(*section, shape));
  return out;
}
