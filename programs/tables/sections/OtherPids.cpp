#include "programs/tables/sections/OtherPids.h"

#include "interface/psi/packet.h"

namespace vantor::tables {

namespace {

using namespace std::string_view_literals;

/// packet_start_code_prefix, ISO/IEC 13818-1 clause 2.4.3.7.
constexpr std::string_view kPesPrefix = "\0\0\1"sv;

/// True for a packet in which an elementary stream's packet begins.
bool beginsPes(std::string_view packet) {
  if ((byteAt(packet, 1) & kPayloadUnitStart) == 0) return false;
  const bool hasAdaptation = (byteAt(packet, kContinuityOffset) & kAdaptationFieldFlag) != 0;
  const std::size_t payload = kPacketHeaderSize + (hasAdaptation ? 1U + byteAt(packet, kPacketHeaderSize) : 0U);
  return payload < packet.size() && packet.substr(payload, kPesPrefix.size()) == kPesPrefix;
}

}  // namespace

void OtherPids::push(std::uint16_t pid, std::string_view packet) {
  if (elementary.count(pid) != 0) return;
  if (beginsPes(packet)) {
    elementary.insert(pid);
    assemblers.erase(pid);
    return;
  }
  assemblers
      .try_emplace(
          pid, [this, pid](const Section& section) { take(pid, section); }, [](SectionFault) {})
      .first->second.push(packet);
}

void OtherPids::take(std::uint16_t pid, const Section& section) {
  if (!section.hasSyntax() && expected.count(pid) == 0) return;
  found.insert(pid);
  onSection(pid, section);
}

}  // namespace vantor::tables
