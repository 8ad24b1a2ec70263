#include "programs/monitor/PidMonitor.h"

#include <utility>

#include "interface/psi/pids.h"
#include "programs/monitor/packetFields.h"

namespace vantor::monitor {

using tables::Section;
using tables::SectionFault;

PidMonitor::PidMonitor(std::uint16_t pid) { counts.pid = pid; }

void PidMonitor::follow(SectionSink sections) {
  sink = std::move(sections);
  assembler.emplace([this](const Section& section) { sink.onSection(section, assembler->begun(), now); },
                    [this](SectionFault fault) { takeFault(fault); });
}

void PidMonitor::take(std::string_view packet, std::int64_t time) {
  now = time;
  ++counts.packets;
  rate.add(time);
  if (counts.pid == kNullPid) return;
  if (hasTransportError(packet)) {
    // No other field of it can be relied on, TR 101 290 clause 5.2.2.
    ++counts.transportErrors;
    continuity.forget();
  } else {
    if (isScrambled(packet)) ++counts.scrambled;
    const Continuity found = continuity.take(packet);
    if (found == Continuity::kBroken) ++counts.continuityErrors;
    if (found == Continuity::kDoubled) ++counts.doubled;
  }
  if (assembler) assembler->push(packet, time);
}

void PidMonitor::takeFault(SectionFault fault) {
  if (fault == SectionFault::crc) {
    ++counts.crcErrors;
    if (!sink.onCrcError(assembler->faulty())) ++counts.unknownCrcErrors;
  } else if (fault == SectionFault::interrupted) {
    ++counts.cutSections;
  } else {
    ++counts.syntaxErrors;
  }
}

PidReport PidMonitor::report(std::int64_t moment, std::int64_t elapsed) const {
  PidReport out = counts;
  out.kbps = rate.kbps(moment);
  out.meanKbps = monitor::meanKbps(out.packets, elapsed);
  return out;
}

double meanKbps(std::uint64_t packets, std::int64_t elapsed) {
  constexpr double kBitsPerPacket = 8 * kPacketSize;
  return elapsed <= 0 ? 0 : static_cast<double>(packets) * kBitsPerPacket / (static_cast<double>(elapsed) / 1e6);
}

}  // namespace vantor::monitor
