#include "interface/converters/t2dNIT.h"

#include <memory>

#include "interface/converters/check.h"
#include "interface/converters/optionals.h"
#include "interface/psi/tableIds.h"

namespace vantor::thrift::dvb_tables {

namespace {

bool fitsSections(const Field& nit, const NIT& record) {
  SectionRoom room = kNitRoom;
  if (repeatsDescriptors(record)) {
    const std::size_t loop = wireSize(record.descriptors);
    if (loop > room.bytes)
      return nit["descriptors"].refuse(std::to_string(loop) + " bytes", "do not fit in a section");
    room.bytes -= loop;
  }
  SectionCount sections(room);
  if (!repeatsDescriptors(record))
    for (const Descriptor& descriptor : record.descriptors) sections.add(wireSize(descriptor));
  for (std::size_t i = 0; i < record.transport_streams.size(); ++i) {
    const NITTransportStream& stream = record.transport_streams[i];
    if (!sections.add(nit.element("transport_streams", i), stream.descriptors, startsSection(stream))) return false;
  }
  return fitsSectionCount(nit, sections.count());
}

bool canBeSent(const Field& nit, const NIT& record) {
  if (!inRange(nit["network_id"], record.network_id, kMax16Bits)) return false;
  if (!isVersion(nit["version_number"], record.version_number)) return false;
  if (!areDescriptors(nit, "descriptors", record.descriptors)) return false;
  for (std::size_t i = 0; i < record.transport_streams.size(); ++i) {
    const NITTransportStream& stream = record.transport_streams[i];
    const Field field = nit.element("transport_streams", i);
    if (!inRange(field["transport_stream_id"], stream.transport_stream_id, kMax16Bits)) return false;
    if (!inRange(field["original_network_id"], stream.original_network_id, kMax16Bits)) return false;
    if (!areDescriptors(field, "descriptors", stream.descriptors)) return false;
  }
  return fitsSections(nit, record);
}

}  // namespace

std::optional<Refusal> check(const NIT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_nit_t* t2dNIT(const NIT& record) {
  if (isRefused("NIT", check(record))) return nullptr;
  const auto networkId = static_cast<std::uint16_t>(record.network_id);
  std::unique_ptr<dvbpsi_nit_t, decltype(&dvbpsi_nit_delete)> nit(
      dvbpsi_nit_new(kNitActualTableId, networkId, networkId, versionByte(record.version_number),
                     record.current_next_indicator),
      &dvbpsi_nit_delete);
  if (!nit || !addDescriptors(nit.get(), &dvbpsi_nit_descriptor_add, record.descriptors)) return nullptr;
  for (const NITTransportStream& stream : record.transport_streams) {
    dvbpsi_nit_ts_t* const ts = dvbpsi_nit_ts_add(nit.get(), static_cast<std::uint16_t>(stream.transport_stream_id),
                                                  static_cast<std::uint16_t>(stream.original_network_id));
    if (ts == nullptr || !addDescriptors(ts, &dvbpsi_nit_ts_descriptor_add, stream.descriptors)) return nullptr;
  }
  return nit.release();
}

}  // namespace vantor::thrift::dvb_tables
