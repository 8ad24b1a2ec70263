#include "tests/programs/streams.h"

#include <algorithm>
#include <memory>

#include "interface/converters/optionals.h"
#include "interface/converters/t2dCAT.h"
#include "interface/converters/t2dEIT.h"
#include "interface/converters/t2dMGT.h"
#include "interface/converters/t2dNIT.h"
#include "interface/converters/t2dPAT.h"
#include "interface/converters/t2dPMT.h"
#include "interface/converters/t2dSDT.h"
#include "interface/converters/t2dVCT.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/sections/sections.h"

namespace vantor::testing {

namespace {

using namespace thrift::dvb_tables;

std::vector<std::string> bytesOf(const SectionChain& chain) {
  std::vector<std::string> out;
  for (const auto* section = chain.get(); section != nullptr; section = section->p_next)
    out.emplace_back(reinterpret_cast<const char*>(section->p_data), sectionSize(*section));
  return out;
}

template <typename Table>
using Owned = std::unique_ptr<Table, void (*)(Table*)>;

/// The sections that the library makes of a converted table.
template <typename Table>
std::vector<std::string> sectionsOfTable(Table* converted, void (*destroy)(Table*)) {
  const Owned<Table> table(converted, destroy);
  return bytesOf(generateSections(*table));
}

template <typename Item>
SectionStarts startsOf(const std::vector<Item>& items) {
  SectionStarts starts;
  for (const Item& item : items) starts.push_back(startsSection(item));
  return starts;
}

char low(unsigned value) { return static_cast<char>(value & 0xFF); }

}  // namespace

std::vector<std::string> sectionsOf(const PAT& record) {
  return sectionsOfTable(t2dPAT(record), dvbpsi_pat_delete);
}
std::vector<std::string> sectionsOf(const CAT& record) {
  return sectionsOfTable(t2dCAT(record), dvbpsi_cat_delete);
}
std::vector<std::string> sectionsOf(const NIT& record) {
  return sectionsOfTable(t2dNIT(record), dvbpsi_nit_delete);
}

std::vector<std::string> sectionsOf(const PMT& record) {
  return sectionsOfTable(t2dPMT(record), dvbpsi_pmt_delete);
}
std::vector<std::string> sectionsOf(const SDT& record, unsigned tableId) {
  const Owned<dvbpsi_sdt_t> table(t2dSDT(record), dvbpsi_sdt_delete);
  return bytesOf(generateSections(*table, static_cast<unsigned char>(tableId), startsOf(record.services)));
}
std::vector<std::string> sectionsOf(const EIT& record) {
  const Owned<dvbpsi_eit_t> table(t2dEIT(record), dvbpsi_eit_delete);
  EITLayout layout;
  layout.standard = record.sectioning == EITSectioning::STANDARD;
  layout.presentMissing = isPresentMissing(record);
  layout.firstDay = firstDay(record);
  layout.starts = startsOf(record.events);
  return bytesOf(generateSections(*table, layout));
}

std::vector<std::string> sectionsOf(const MGT& record) {
  return sectionsOfTable(t2dMGT(record), dvbpsi_atsc_DeleteMGT);
}
std::vector<std::string> sectionsOf(const VCT& record) {
  return sectionsOfTable(t2dVCT(record), dvbpsi_atsc_DeleteVCT);
}

std::string withCrc(std::string bytes) {
  dvbpsi_psi_section_t section{};
  section.i_table_id = static_cast<std::uint8_t>(bytes[0]);
  section.b_syntax_indicator = true;
  section.p_data = reinterpret_cast<std::uint8_t*>(bytes.data());
  section.p_payload_end = section.p_data + bytes.size() - 4;
  dvbpsi_CalculateCRC32(&section);
  for (unsigned i = 0; i < 4; ++i) bytes[bytes.size() - 4 + i] = low(section.i_crc >> (24 - 8 * i));
  return bytes;
}

std::string eitPayload(unsigned segmentLast, unsigned lastTableId, const std::vector<MadeEvent>& events) {
  std::string out{'\0', '\4', '\x20', '\xFA', low(segmentLast), low(lastTableId)};
  for (const MadeEvent& event : events) {
    const auto loop = static_cast<unsigned>(2 + event.descriptorSize);
    out += {low(static_cast<unsigned>(event.id) >> 8), low(static_cast<unsigned>(event.id))};
    for (int shift = 32; shift >= 0; shift -= 8) out += low(static_cast<unsigned>(event.start >> shift & 0xFF));
    out += {'\0', '\x30', '\0', low(0x80 | loop >> 8), low(loop), '\x4D', low(loop - 2)};
    out += std::string(event.descriptorSize, low(static_cast<unsigned>(event.id)));
  }
  return out;
}

std::string makeSection(unsigned tableId, unsigned extension, unsigned version, unsigned number,
                        unsigned lastNumber, const std::string& payload) {
  const auto length = static_cast<unsigned>(5 + payload.size() + 4);
  std::string bytes{low(tableId),   low((tableId < 0x40 ? 0xB0 : 0xF0) | length >> 8),
                    low(length),    low(extension >> 8),
                    low(extension), low(0xC1 | version << 1),
                    low(number),    low(lastNumber)};
  return withCrc(bytes + payload + std::string(4, '\0'));
}

std::string Packer::packet(bool start, const std::string& payload) {
  std::string out{'\x47', low((start ? 0x40 : 0) | pid >> 8), low(pid), low(0x10 | (counter++ & 0x0F))};
  out += payload;
  out.resize(188, '\xFF');
  return out;
}

std::string Packer::apart(const std::vector<std::string>& sections) {
  std::string out;
  for (const auto& section : sections) {
    out += packet(true, '\0' + section.substr(0, 183));
    for (std::size_t at = 183; at < section.size(); at += 184) out += packet(false, section.substr(at, 184));
  }
  return out;
}

std::string Packer::packed(const std::vector<std::string>& sections) {
  std::string bytes;
  std::vector<std::size_t> starts;
  for (const auto& section : sections) {
    starts.push_back(bytes.size());
    bytes += section;
  }
  std::string out;
  for (std::size_t at = 0; at < bytes.size();) {
    // A packet in which a section starts has one byte less, for the pointer_field; so has one whose last byte
    // would have to be a start.
    std::size_t pointer = bytes.size();
    for (const std::size_t start : starts)
      if (start >= at) pointer = std::min(pointer, start - at);
    const bool start = pointer < 183;
    const std::size_t room = pointer <= 183 ? 183 : 184;
    out +=
        packet(start, (start ? std::string(1, low(static_cast<unsigned>(pointer))) : "") + bytes.substr(at, room));
    at += room;
  }
  return out;
}

PAT makePat(int version, int programs) {
  PAT pat;
  pat.transport_stream_id = 0x1234;
  pat.version_number = version;
  for (int i = 1; i <= programs; ++i) {
    PATProgram program;
    program.program_number = i;
    program.pid = 0x100 + i;
    pat.programs.push_back(program);
  }
  return pat;
}

CAT makeCat(int version, int descriptors) {
  CAT cat;
  cat.version_number = version;
  for (int i = 0; i < descriptors; ++i) {
    Descriptor descriptor;
    descriptor.tag = 9;
    descriptor.data = std::string{'\x0B', low(static_cast<unsigned>(i)), '\xE0', '\x64'};
    cat.descriptors.push_back(descriptor);
  }
  return cat;
}

NIT makeNit(int version, int streams) {
  NIT nit;
  nit.network_id = 0x3085;
  nit.version_number = version;
  Descriptor name;
  name.tag = 0x40;
  name.data = "Northern Coast";
  nit.descriptors = {name};
  for (int i = 1; i <= streams; ++i) {
    NITTransportStream stream;
    stream.transport_stream_id = i;
    stream.original_network_id = 0x2085;
    Descriptor services;
    services.tag = 0x41;
    services.data = std::string(60, low(static_cast<unsigned>(i)));
    stream.descriptors = {services};
    nit.transport_streams.push_back(stream);
  }
  return nit;
}

PMT makePmt(int program, int version) {
  PMT pmt;
  pmt.program_number = program;
  pmt.version_number = version;
  pmt.pcr_pid = 0x201;
  Descriptor registration;
  registration.tag = 0x05;
  registration.data = "TEST";
  pmt.descriptors = {registration};
  for (const std::int16_t type : {0x1B, 0x0F}) {
    PMTStream stream;
    stream.stream_type = type;
    stream.elementary_pid = 0x200 + type;
    stream.descriptors = {registration, registration};
    pmt.streams.push_back(stream);
  }
  return pmt;
}

SDT makeSdt(int transportStream, int version, int services) {
  SDT sdt;
  sdt.transport_stream_id = transportStream;
  sdt.original_network_id = 0x20FA;
  sdt.version_number = version;
  for (int i = 1; i <= services; ++i) {
    SDTService service;
    service.service_id = i;
    service.EIT_schedule_flag = i % 2 == 0;
    service.EIT_present_following_flag = true;
    service.running_status = 4;
    service.free_CA_mode = i % 3 == 0;
    Descriptor descriptor;
    descriptor.tag = 0x80;
    descriptor.data = std::string(100, low(static_cast<unsigned>(i)));
    service.descriptors = {descriptor};
    sdt.services.push_back(service);
  }
  return sdt;
}

EITEvent makeEvent(const MadeEvent& made) {
  EITEvent event;
  event.event_id = made.id;
  event.start_time = made.start;
  event.duration = 0x003000;
  event.running_status = 4;
  Descriptor descriptor;
  descriptor.tag = 0x4D;
  descriptor.data = std::string(made.descriptorSize, low(static_cast<unsigned>(made.id)));
  event.descriptors = {descriptor};
  return event;
}

}  // namespace vantor::testing
