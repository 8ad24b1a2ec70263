#include "tests/interface/sections.h"

#include <algorithm>

#include "servicemux/sections/sections.h"

using namespace vantor::thrift::dvb_tables;

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kCrcSize = 4;

std::vector<Bytes> bytesOf(const vantor::SectionChain& chain) {
  std::vector<Bytes> sections;
  for (const auto* section = chain.get(); section != nullptr; section = section->p_next)
    sections.emplace_back(section->p_data, section->p_payload_end + kCrcSize);
  return sections;
}

std::size_t twelveBits(const std::uint8_t* at) { return (at[0] & 0x0FU) << 8 | at[1]; }
int sixteenBits(const std::uint8_t* at) { return at[0] << 8 | at[1]; }

/// ISO/IEC 13818-1 annex A: zero over a section with its CRC_32.
std::uint32_t crc32(const Bytes& section) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : section) {
    crc ^= std::uint32_t{byte} << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000) != 0 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
  }
  return crc;
}

std::string faultIn(const Bytes& section) {
  if (section.size() > 1024) return "has " + std::to_string(section.size()) + " bytes";
  if (section.size() < kHeaderSize + kCrcSize) return "is too short";
  if (twelveBits(&section[1]) + 3 != section.size()) return "has a wrong section_length";
  if ((section[1] & 0x80) == 0) return "has no syntax indicator";
  if (crc32(section) != 0) return "has a wrong CRC";
  return {};
}

Descriptors descriptorsIn(const std::uint8_t* at, const std::uint8_t* end) {
  Descriptors descriptors;
  while (at < end) {
    descriptors.emplace_back();
    descriptors.back().tag = at[0];
    descriptors.back().data.assign(at + 2, at + 2 + at[1]);
    at += 2 + at[1];
  }
  return descriptors;
}

void append(Descriptors& to, const Descriptors& more) { to.insert(to.end(), more.begin(), more.end()); }

const std::uint8_t* payloadEnd(const Bytes& section) { return section.data() + section.size() - kCrcSize; }

}  // namespace

std::vector<Bytes> sectionsOf(dvbpsi_pat_t& pat) { return bytesOf(vantor::generateSections(pat)); }
std::vector<Bytes> sectionsOf(dvbpsi_cat_t& cat) { return bytesOf(vantor::generateSections(cat)); }
std::vector<Bytes> sectionsOf(dvbpsi_nit_t& nit) { return bytesOf(vantor::generateSections(nit)); }

std::string faultIn(const std::vector<Bytes>& sections) {
  if (sections.empty() || sections.size() > 256) return std::to_string(sections.size()) + " sections";
  for (std::size_t i = 0; i < sections.size(); ++i) {
    const Bytes& section = sections[i];
    const std::string name = "section " + std::to_string(i) + ' ';
    if (const std::string fault = faultIn(section); !fault.empty()) return name + fault;
    if (section[6] != i || section[7] != sections.size() - 1) return name + "is numbered wrong";
    if (tableId(section) != tableId(sections[0]) || !std::equal(&section[3], &section[6], &sections[0][3]))
      return name + "is of another table";
  }
  return {};
}

int tableId(const Bytes& section) { return section[0]; }
int extension(const Bytes& section) { return sixteenBits(&section[3]); }
int version(const Bytes& section) { return section[5] >> 1 & 0x1F; }
bool isCurrent(const Bytes& section) { return (section[5] & 1) != 0; }

std::vector<PATProgram> programsIn(const std::vector<Bytes>& pat) {
  std::vector<PATProgram> programs;
  for (const Bytes& section : pat)
    for (const auto* at = &section[kHeaderSize]; at < payloadEnd(section); at += 4) {
      programs.emplace_back();
      programs.back().program_number = sixteenBits(at);
      programs.back().pid = sixteenBits(at + 2) & 0x1FFF;
    }
  return programs;
}

Descriptors descriptorsIn(const std::vector<Bytes>& cat) {
  Descriptors descriptors;
  for (const Bytes& section : cat) append(descriptors, descriptorsIn(&section[kHeaderSize], payloadEnd(section)));
  return descriptors;
}

Descriptors networkDescriptorsIn(const std::vector<Bytes>& nit) {
  Descriptors descriptors;
  for (const Bytes& section : nit) {
    const auto* const at = &section[kHeaderSize];
    append(descriptors, descriptorsIn(at + 2, at + 2 + twelveBits(at)));
  }
  return descriptors;
}

std::vector<NITTransportStream> transportStreamsIn(const std::vector<Bytes>& nit) {
  std::vector<NITTransportStream> streams;
  for (const Bytes& section : nit) {
    const auto* at = &section[kHeaderSize];
    at += 2 + twelveBits(at);
    const auto* const end = at + 2 + twelveBits(at);
    for (at += 2; at < end;) {
      const auto* const next = at + 6 + twelveBits(at + 4);
      streams.emplace_back();
      streams.back().transport_stream_id = sixteenBits(at);
      streams.back().original_network_id = sixteenBits(at + 2);
      streams.back().descriptors = descriptorsIn(at + 6, next);
      at = next;
    }
  }
  return streams;
}
