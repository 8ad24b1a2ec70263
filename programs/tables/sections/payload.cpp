#include "programs/tables/sections/payload.h"

#include "interface/psi/packet.h"
#include "programs/tables/descriptors/bytes.h"

namespace vantor::tables {

namespace {

using namespace std::string_view_literals;

/// packet_start_code_prefix, ISO/IEC 13818-1 clause 2.4.3.7; no section begins with it.
constexpr std::string_view kPesStart = "\0\0\1"sv;

/// What a packet carries; empty where it is an adaptation field or damaged.
std::string_view payloadOf(std::string_view packet) {
  const std::uint8_t control = byteAt(packet, kContinuityOffset);
  std::size_t at = kPacketHeaderSize;
  if ((control & kAdaptationFieldFlag) != 0) at += 1U + byteAt(packet, at);
  return (control & kPayloadFlag) != 0 && at < packet.size() ? packet.substr(at) : std::string_view();
}

}  // namespace

bool beginsPes(std::string_view packet) {
  return (byteAt(packet, 1) & kPayloadUnitStart) != 0 && payloadOf(packet).substr(0, kPesStart.size()) == kPesStart;
}

bool isScrambled(std::string_view packet) { return (byteAt(packet, kContinuityOffset) & kScramblingControl) != 0; }

}  // namespace vantor::tables
