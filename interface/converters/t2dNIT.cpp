#include "interface/converters/t2dNIT.h"

#include <memory>

#include "interface/converters/check.h"

namespace vantor::thrift::dvb_tables {

namespace {

constexpr std::uint8_t kNitActual = 0x40;  // EN 300 468, table 2

/// Follows libdvbpsi's NIT generator over its sections, to find what it would cut off or write behind a section's
/// end. It counts a section full without the length field behind the network descriptors, never looks whether a
/// transport stream's own fields fit, and starts a new section for a transport stream only when it sees the lack
/// of room before the last of its descriptors.
class NitSections {
 public:
  bool addNetworkDescriptor(const Field& field, const Descriptor& descriptor) {
    if (end + wireSize(descriptor) > kMaxEnd) startSection();
    return add(field, wireSize(descriptor), kMaxEnd - kLengthFieldSize);
  }

  void endNetworkDescriptors() { end += kLengthFieldSize; }

  bool addTransportStream(const Field& field, const std::vector<Descriptor>& descriptors) {
    if (startsSection(descriptors)) {
      startSection();
      endNetworkDescriptors();
    }
    if (!add(field, kTransportStreamSize, kMaxEnd)) return false;
    for (std::size_t i = 0; i < descriptors.size(); ++i)
      if (!add(field.element("descriptors", i), wireSize(descriptors[i]), kMaxEnd)) return false;
    return true;
  }

  std::size_t count() const { return section + 1; }

 private:
  static constexpr std::size_t kMaxEnd = kMaxSectionSize - 4;  // CRC_32 follows
  static constexpr std::size_t kLengthFieldSize = 2;
  static constexpr std::size_t kNetworkStart = 8 + kLengthFieldSize;
  static constexpr std::size_t kTransportStreamSize = 6;  // up to transport_descriptors_length

  void startSection() {
    ++section;
    end = kNetworkStart;
  }

  /// The generator's own reckoning, its off-by-one included.
  bool startsSection(const std::vector<Descriptor>& descriptors) const {
    std::size_t size = kTransportStreamSize - 1;
    auto next = descriptors.begin();
    while (next != descriptors.end() && end + size <= kMaxEnd) size += wireSize(*next++);
    const std::size_t emptyEnd = kNetworkStart + kLengthFieldSize;
    return next != descriptors.end() && end != emptyEnd && size <= kMaxEnd - emptyEnd;
  }

  bool add(const Field& field, std::size_t size, std::size_t maxEnd) {
    if (end + size > maxEnd)
      return refuse(field, std::to_string(size) + " bytes do not fit in section " + std::to_string(section) +
                               " behind " + std::to_string(end) + " others");
    end += size;
    return true;
  }

  std::size_t section = 0;
  std::size_t end = kNetworkStart;  // of what the section holds so far
};

bool fitsSections(const Field& nit, const NIT& record) {
  NitSections sections;
  for (std::size_t i = 0; i < record.descriptors.size(); ++i)
    if (!sections.addNetworkDescriptor(nit.element("descriptors", i), record.descriptors[i])) return false;
  sections.endNetworkDescriptors();
  for (std::size_t i = 0; i < record.transport_streams.size(); ++i)
    if (!sections.addTransportStream(nit.element("transport_streams", i), record.transport_streams[i].descriptors))
      return false;
  return fitsSectionCount(nit, sections.count());
}

bool canBeSent(const NIT& record) {
  const Field nit("NIT");
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

dvbpsi_nit_t* t2dNIT(const NIT& record) {
  if (!canBeSent(record)) return nullptr;
  const auto networkId = static_cast<std::uint16_t>(record.network_id);
  std::unique_ptr<dvbpsi_nit_t, decltype(&dvbpsi_nit_delete)> nit(
      dvbpsi_nit_new(kNitActual, networkId, networkId, versionByte(record.version_number),
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
