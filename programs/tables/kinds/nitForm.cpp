#include "programs/tables/kinds/nitForm.h"

#include <algorithm>

#include "interface/converters/owned.h"
#include "interface/converters/t2dNIT.h"
#include "interface/psi/sectioning.h"
#include "programs/tables/descriptors/descriptors.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/TableKind.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/kinds/sectionStarts.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/sections/sections.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::NIT;
using thrift::dvb_tables::NITTransportStream;

constexpr std::size_t kLoopLengthSize = 2;
constexpr const char* kRepeatsDescriptors = "repeats_descriptors";
constexpr const char* kStartsSection = "starts_section";

NITTransportStream readStream(const JsonValue& value) {
  value.allowOnly({"transport_stream_id", "original_network_id", kStartsSection, "descriptors"});
  NITTransportStream stream;
  readInteger(value, "transport_stream_id", stream.transport_stream_id);
  readInteger(value, "original_network_id", stream.original_network_id);
  if (hasFlag(value, kStartsSection)) stream.__set_starts_section(true);
  stream.descriptors = readDescriptors(value);
  return stream;
}

OrderedJson writeStream(const NITTransportStream& stream) {
  OrderedJson json{{"transport_stream_id", stream.transport_stream_id},
                   {"original_network_id", stream.original_network_id}};
  writeFlag(stream.starts_section, kStartsSection, json);
  writeDescriptors(stream.descriptors, json);
  return json;
}

/// The descriptors of the network in one section, and its transport streams.
struct NetworkPart {
  std::string_view descriptors;
  std::vector<NITTransportStream> streams;
};

NetworkPart partOf(const Section& section) {
  NetworkPart part;
  std::string_view rest = section.payload();
  part.descriptors = takeLoop(rest);
  for (const LoopItem& item : itemsOf(rest.substr(kLoopLengthSize), kNitRoom.itemHead)) {
    NITTransportStream& stream = part.streams.emplace_back();
    stream.transport_stream_id = wordAt(item.head, 0);
    stream.original_network_id = wordAt(item.head, 2);
    stream.descriptors = descriptorsOf(item.descriptors);
  }
  return part;
}

bool haveSameDescriptors(const std::vector<NetworkPart>& parts) {
  return parts.size() > 1 && !parts.front().descriptors.empty() &&
         std::all_of(parts.begin(), parts.end(),
                     [&](const NetworkPart& part) { return part.descriptors == parts.front().descriptors; });
}

/// Each section has the descriptors, and all sections have the same room for streams.
void joinRepeating(std::vector<NetworkPart> parts, NIT& nit) {
  nit.__set_repeats_descriptors(true);
  nit.descriptors = descriptorsOf(parts.front().descriptors);
  const SectionRoom room{kNitRoom.bytes - parts.front().descriptors.size(), kNitRoom.itemHead};
  std::vector<std::vector<NITTransportStream>> streams;
  streams.reserve(parts.size());
  for (NetworkPart& part : parts) streams.push_back(std::move(part.streams));
  appendSections(std::move(streams), room, nit.transport_streams);
}

/// Descriptors come first, and the first streams behind the last of them.
void join(std::vector<NetworkPart> parts, NIT& nit) {
  std::size_t used = 0;
  for (NetworkPart& part : parts) {
    if (!part.descriptors.empty()) used = part.descriptors.size();
    for (const auto& descriptor : descriptorsOf(part.descriptors)) nit.descriptors.push_back(descriptor);
    bool mayStart = part.descriptors.empty();
    for (NITTransportStream& stream : part.streams) {
      const std::size_t size = wireSize(stream, kNitRoom);
      const bool fits = used + size <= kNitRoom.bytes;
      const bool starts = mayStart && used > 0 && fits;
      if (starts) stream.__set_starts_section(true);
      used = starts || !fits ? size : used + size;
      mayStart = false;
      nit.transport_streams.push_back(std::move(stream));
    }
  }
}

}  // namespace

NIT readNit(const JsonValue& value, const char* id) {
  value.allowOnly(
      {id, "version_number", "current_next_indicator", kRepeatsDescriptors, "descriptors", "transport_streams"});
  NIT nit;
  readInteger(value, id, nit.network_id);
  readVersion(value, nit);
  if (hasFlag(value, kRepeatsDescriptors)) nit.__set_repeats_descriptors(true);
  nit.descriptors = readDescriptors(value);
  const JsonValue streams = value.required("transport_streams");
  for (std::size_t i = 0; i < streams.size(); ++i) nit.transport_streams.push_back(readStream(streams.at(i)));
  return nit;
}

OrderedJson writeNit(const NIT& nit, const char* id) {
  OrderedJson json;
  json[id] = nit.network_id;
  writeVersion(nit, json);
  writeFlag(nit.repeats_descriptors, kRepeatsDescriptors, json);
  writeDescriptors(nit.descriptors, json);
  auto& streams = json["transport_streams"] = OrderedJson::array();
  for (const auto& stream : nit.transport_streams) streams.push_back(writeStream(stream));
  return json;
}

bool isWellFormedNit(const Section& section) {
  std::string_view rest = section.payload();
  if (section.bytes().size() > kMaxSectionSize || rest.size() < 2 * kLoopLengthSize) return false;
  const std::size_t descriptors = loopLength(rest, 0);
  rest.remove_prefix(kLoopLengthSize);
  if (descriptors + kLoopLengthSize > rest.size() || !holdsDescriptors(rest.substr(0, descriptors))) return false;
  rest.remove_prefix(descriptors);
  return loopLength(rest, 0) == rest.size() - kLoopLengthSize &&
         holdsItems(rest.substr(kLoopLengthSize), kNitRoom.itemHead);
}

NIT decodeNit(const std::vector<Section>& sections) {
  NIT nit;
  nit.network_id = sections.front().extension();
  nit.version_number = sections.front().version();
  nit.current_next_indicator = sections.front().currentNext();
  std::vector<NetworkPart> parts;
  parts.reserve(sections.size());
  for (const Section& section : sections) parts.push_back(partOf(section));
  if (haveSameDescriptors(parts))
    joinRepeating(std::move(parts), nit);
  else
    join(std::move(parts), nit);
  return nit;
}

std::vector<std::string> sectionsOfNit(const NIT& nit, std::uint8_t tableId) {
  const NitTable table(t2dNIT(nit));
  if (!table) return {};
  table->i_version = static_cast<std::uint8_t>(versionOnAir(nit.version_number));
  NITLayout layout;
  layout.tableId = tableId;
  layout.repeatsDescriptors = nit.repeats_descriptors;
  for (const auto& stream : nit.transport_streams) layout.starts.push_back(stream.starts_section);
  std::vector<std::string> sections;
  const SectionChain chain = generateSections(*table, layout);
  for (const auto* section = chain.get(); section != nullptr; section = section->p_next)
    sections.emplace_back(reinterpret_cast<const char*>(section->p_data), sectionSize(*section));
  return sections;
}

}  // namespace vantor::tables
