#include "interface/psi/tableIds.h"
#include "servicemux/sections/generate.h"
#include "servicemux/sections/sections.h"

namespace vantor {

namespace {

std::size_t wireSize(const dvbpsi_descriptor_t& descriptor) { return 2U + descriptor.i_length; }
std::size_t wireSize(const dvbpsi_nit_ts_t& stream) {
  return kNitRoom.itemHead + loopSize(stream.p_first_descriptor);
}

/// How far the items from `begin` on fit; takes them off the room.
template <typename Items>
std::size_t fill(const Items& items, std::size_t begin, std::size_t& room) {
  std::size_t end = begin;
  for (; end < items.size() && wireSize(items[end]) <= room; ++end) room -= wireSize(items[end]);
  return end;
}

/// The same up to an item that starts a new section; the first one starts none when the section is new already.
template <typename Items>
std::size_t fill(const Items& items, const SectionStarts& starts, std::size_t begin, bool isNew, std::size_t room) {
  std::size_t end = begin;
  for (; end < items.size() && wireSize(items[end]) <= room; ++end) {
    const bool startsNew = end < starts.size() && starts[end];
    if (startsNew && (end > begin || !isNew)) break;
    room -= wireSize(items[end]);
  }
  return end;
}

}  // namespace

/// A transport stream is never split. libdvbpsi would drop descriptors or write behind its buffer where a stream
/// does not fit. It also clears the bit behind section_syntax_indicator, which libdvbpsi calls private_indicator:
/// EN 300 468 clause 5.2.1 has it as reserved_future_use, which is sent as 1.
SectionChain generateSections(dvbpsi_nit_t& nit, const NITLayout& layout) {
  using Descriptors = TableItems<dvbpsi_nit_t, dvbpsi_descriptor_t>;
  using Streams = TableItems<dvbpsi_nit_t, dvbpsi_nit_ts_t>;
  Descriptors descriptors(nit, &dvbpsi_nit_t::p_first_descriptor);
  Streams streams(nit, &dvbpsi_nit_t::p_first_ts);
  SectionGatherer sections;
  std::size_t descriptor = 0;
  std::size_t stream = 0;
  do {
    std::size_t room = kNitRoom.bytes;
    if (layout.repeatsDescriptors) descriptor = 0;
    const std::size_t descriptorsEnd = fill(descriptors, descriptor, room);
    const bool hasAll = descriptorsEnd == descriptors.size();
    const bool isNew = layout.repeatsDescriptors || descriptorsEnd == descriptor;
    const std::size_t streamsEnd = hasAll ? fill(streams, layout.starts, stream, isNew, room) : stream;
    if (isNew && (!hasAll || (streamsEnd == stream && stream < streams.size()))) return nullptr;
    const Descriptors::Part someDescriptors(descriptors, descriptor, descriptorsEnd);
    const Streams::Part someStreams(streams, stream, streamsEnd);
    const auto generator = [&](dvbpsi_t* handle) {
      return dvbpsi_nit_sections_generate(handle, &nit, kNitActualTableId);
    };
    if (!sections.add(generate(generator))) return nullptr;
    descriptor = descriptorsEnd;
    stream = streamsEnd;
  } while (descriptor < descriptors.size() || stream < streams.size());
  if (!sections.number()) return nullptr;
  for (std::size_t i = 0; i < sections.size(); ++i) {
    sections[i].i_table_id = layout.tableId;
    sections[i].b_private_indicator = true;
  }
  return sections.chain();
}

}  // namespace vantor
