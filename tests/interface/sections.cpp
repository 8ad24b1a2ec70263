#include "tests/interface/sections.h"

#include <algorithm>

#include "interface/converters/optionals.h"
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

bool mayBeLong(const Bytes& section) { return (section[0] >= 0x4E && section[0] <= 0x6F) || section[0] == 0xC7; }

/// The items of a loop, each with a head that ends with the length of its descriptors.
template <typename Item>
void appendItems(std::vector<Item>& items, const std::uint8_t* at, const std::uint8_t* end, std::size_t headSize,
                 Item (*fromHead)(const std::uint8_t*)) {
  while (at < end) {
    const auto* const descriptors = at + headSize;
    const auto* const next = descriptors + twelveBits(descriptors - 2);
    items.push_back(fromHead(at));
    items.back().descriptors = descriptorsIn(descriptors, next);
    at = next;
  }
}

NITTransportStream transportStreamOf(const std::uint8_t* head) {
  NITTransportStream stream;
  stream.transport_stream_id = sixteenBits(head);
  stream.original_network_id = sixteenBits(head + 2);
  return stream;
}

PMTStream streamOf(const std::uint8_t* head) {
  PMTStream stream;
  stream.stream_type = head[0];
  stream.elementary_pid = sixteenBits(head + 1) & 0x1FFF;
  return stream;
}

SDTService serviceOf(const std::uint8_t* head) {
  SDTService service;
  service.service_id = sixteenBits(head);
  service.EIT_schedule_flag = (head[2] & 2) != 0;
  service.EIT_present_following_flag = (head[2] & 1) != 0;
  service.running_status = head[3] >> 5;
  service.free_CA_mode = (head[3] & 0x10) != 0;
  return service;
}

EITEvent eventOf(const std::uint8_t* head) {
  EITEvent event;
  event.event_id = sixteenBits(head);
  for (const auto* at = head + 2; at < head + 7; ++at) event.start_time = event.start_time << 8 | *at;
  for (const auto* at = head + 7; at < head + 10; ++at) event.duration = event.duration << 8 | *at;
  event.running_status = head[10] >> 5;
  event.free_CA_mode = (head[10] & 0x10) != 0;
  return event;
}

template <typename Item>
vantor::SectionStarts startsOf(const std::vector<Item>& items) {
  vantor::SectionStarts starts;
  for (const Item& item : items) starts.push_back(startsSection(item));
  return starts;
}

}  // namespace

std::vector<Bytes> sectionsOf(dvbpsi_pat_t& pat) { return bytesOf(vantor::generateSections(pat)); }
std::vector<Bytes> sectionsOf(dvbpsi_cat_t& cat) { return bytesOf(vantor::generateSections(cat)); }
std::vector<Bytes> sectionsOf(dvbpsi_nit_t& nit) { return bytesOf(vantor::generateSections(nit)); }

std::vector<Bytes> sectionsOf(dvbpsi_pmt_t& pmt) { return bytesOf(vantor::generateSections(pmt)); }
std::vector<Bytes> sectionsOf(dvbpsi_atsc_mgt_t& mgt) { return bytesOf(vantor::generateSections(mgt)); }
std::vector<Bytes> sectionsOf(dvbpsi_atsc_vct_t& vct) { return bytesOf(vantor::generateSections(vct)); }

std::vector<Bytes> sectionsOf(dvbpsi_sdt_t& sdt, const SDT& record) {
  return bytesOf(vantor::generateSections(sdt, sdt.i_table_id, startsOf(record.services)));
}

std::vector<Bytes> sectionsOf(dvbpsi_eit_t& eit, const EIT& record) {
  vantor::EITLayout layout;
  layout.standard = record.sectioning == EITSectioning::STANDARD;
  layout.presentMissing = isPresentMissing(record);
  layout.firstDay = firstDay(record);
  layout.starts = startsOf(record.events);
  return bytesOf(vantor::generateSections(eit, layout));
}

std::string faultIn(const Bytes& section) {
  if (section.size() < kHeaderSize + kCrcSize) return "is too short";
  if (section.size() > (mayBeLong(section) ? 4096 : 1024))
    return "has " + std::to_string(section.size()) + " bytes";
  if (twelveBits(&section[1]) + 3 != section.size()) return "has a wrong section_length";
  if ((section[1] & 0x80) == 0) return "has no syntax indicator";
  if (crc32(section) != 0) return "has a wrong CRC";
  return {};
}

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
    appendItems(streams, at + 2, at + 2 + twelveBits(at), 6, transportStreamOf);
  }
  return streams;
}

int pcrPidIn(const Bytes& pmt) { return sixteenBits(&pmt[kHeaderSize]) & 0x1FFF; }

Descriptors programDescriptorsIn(const Bytes& pmt) {
  const auto* const at = &pmt[kHeaderSize + 2];
  return descriptorsIn(at + 2, at + 2 + twelveBits(at));
}

std::vector<PMTStream> streamsIn(const Bytes& pmt) {
  std::vector<PMTStream> streams;
  const auto* const at = &pmt[kHeaderSize + 2];
  appendItems(streams, at + 2 + twelveBits(at), payloadEnd(pmt), 5, streamOf);
  return streams;
}

Descriptors ownDescriptorsIn(const std::vector<Bytes>& mgt) {
  Descriptors descriptors;
  for (const Bytes& section : mgt) {
    const auto* at = &section[kHeaderSize + 1];
    int tables = sixteenBits(at);
    for (at += 2; tables > 0; --tables) at += 11 + twelveBits(at + 9);
    append(descriptors, descriptorsIn(at + 2, at + 2 + twelveBits(at)));
  }
  return descriptors;
}

int originalNetworkIdIn(const Bytes& sdt) { return sixteenBits(&sdt[kHeaderSize]); }

std::vector<SDTService> servicesIn(const std::vector<Bytes>& sdt) {
  std::vector<SDTService> services;
  for (const Bytes& section : sdt)
    appendItems(services, &section[kHeaderSize + 3], payloadEnd(section), 5, serviceOf);
  return services;
}

std::vector<EITEvent> eventsIn(const std::vector<Bytes>& eit) {
  std::vector<EITEvent> events;
  for (const Bytes& section : eit) appendItems(events, &section[kHeaderSize + 6], payloadEnd(section), 12, eventOf);
  return events;
}
