#include "tests/programs/monitor/packets.h"

namespace vantor::testing {

namespace {

char low(std::uint64_t value) { return static_cast<char>(value & 0xFF); }

}  // namespace

std::string MadePacket::bytes() const {
  const bool hasField = !hasPayload || discontinuity || pcr;
  std::string out{'\x47', low((transportError ? 0x80 : 0) | pid >> 8), low(pid),
                  low((scrambled ? 0x80 : 0) | (hasField ? 0x20 : 0) | (hasPayload ? 0x10 : 0) | counter)};
  if (hasField) {
    std::string field{low((discontinuity ? 0x80 : 0) | (pcr ? 0x10 : 0))};
    if (pcr) {
      const auto base = static_cast<std::uint64_t>(*pcr / 300);
      const std::uint64_t bits = base << 15 | 0x7E00 | static_cast<std::uint64_t>(*pcr % 300);
      for (int shift = 40; shift >= 0; shift -= 8) field += low(bits >> shift);
    }
    field.resize(hasPayload ? 20 : 183, '\xFF');
    out += low(field.size());
    out += field;
  }
  out.resize(188, fill);
  return out;
}

}  // namespace vantor::testing
