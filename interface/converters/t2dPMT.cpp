#include "interface/converters/t2dPMT.h"

#include "interface/converters/check.h"
#include "interface/converters/owned.h"

namespace vantor::thrift::dvb_tables {

namespace {

/// A program has one section, whose length keeps the loops inside their length fields too.
bool fitsSection(const Field& pmt, const PMT& record) {
  std::size_t size = kSectionOverhead + kPmtHead + wireSize(record.descriptors);
  for (const PMTStream& stream : record.streams) size += kPmtStreamHead + wireSize(stream.descriptors);
  return size <= kMaxSectionSize || pmt.refuse("needs " + std::to_string(size) + " bytes, more than the " +
                                               std::to_string(kMaxSectionSize) + " of its one section");
}

bool canBeSent(const Field& pmt, const PMT& record) {
  if (!inRange(pmt["program_number"], record.program_number, kMax16Bits)) return false;
  if (!isVersion(pmt["version_number"], record.version_number)) return false;
  if (!inRange(pmt["pcr_pid"], record.pcr_pid, kMaxPid)) return false;
  if (!areDescriptors(pmt, "descriptors", record.descriptors)) return false;
  for (std::size_t i = 0; i < record.streams.size(); ++i) {
    const PMTStream& stream = record.streams[i];
    const Field field = pmt.element("streams", i);
    if (!inRange(field["stream_type"], stream.stream_type, kMax8Bits)) return false;
    if (!inRange(field["elementary_pid"], stream.elementary_pid, kMaxPid)) return false;
    if (!areDescriptors(field, "descriptors", stream.descriptors)) return false;
  }
  return fitsSection(pmt, record);
}

}  // namespace

std::optional<Refusal> check(const PMT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_pmt_t* t2dPMT(const PMT& record) {
  if (isRefused("PMT", check(record))) return nullptr;
  PmtTable pmt(dvbpsi_pmt_new(static_cast<std::uint16_t>(record.program_number), versionByte(record.version_number),
                              record.current_next_indicator, static_cast<std::uint16_t>(record.pcr_pid)));
  if (!pmt || !addDescriptors(pmt.get(), &dvbpsi_pmt_descriptor_add, record.descriptors)) return nullptr;
  for (const PMTStream& stream : record.streams) {
    dvbpsi_pmt_es_t* const es = dvbpsi_pmt_es_add(pmt.get(), static_cast<std::uint8_t>(stream.stream_type),
                                                  static_cast<std::uint16_t>(stream.elementary_pid));
    if (es == nullptr || !addDescriptors(es, &dvbpsi_pmt_es_descriptor_add, stream.descriptors)) return nullptr;
  }
  return pmt.release();
}

}  // namespace vantor::thrift::dvb_tables
