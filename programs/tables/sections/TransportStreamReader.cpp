#include "programs/tables/sections/TransportStreamReader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "interface/psi/pids.h"
#include "programs/tables/sections/payload.h"

namespace vantor::tables {

TransportStreamReader::TransportStreamReader(SectionSink onSection, FaultSink onFault, std::size_t backlogSize)
    : onSection(std::move(onSection)), onFault(std::move(onFault)), backlogSize(backlogSize) {}

void TransportStreamReader::follow(std::uint16_t pid) {
  if (pid == kNullPid || std::exchange(pids[pid].isFollowed, true)) return;
  ahead.push_back(pid);
}

void TransportStreamReader::push(std::string_view packet) {
  followUp();
  const std::uint16_t pid = pidAt(packet, 1);
  ++pids[pid].packets;
  if (pids[pid].isFollowed)
    assemblers.at(pid).push(packet);
  else if (pid != kNullPid)
    keep(pid, packet);
  followUp();
}

/// Reads what there is of the PIDs that have come up.
void TransportStreamReader::followUp() {
  while (!ahead.empty()) {
    const std::uint16_t pid = ahead.front();
    ahead.erase(ahead.begin());
    SectionAssembler& assembler = assemblers
                                      .try_emplace(
                                          pid, [this, pid](const Section& section) { onSection(pid, section); },
                                          [this, pid](SectionFault fault) { onFault(pid, fault); })
                                      .first->second;
    for (const Waiting& waiting : backlog)
      if (waiting.pid == pid) assembler.push({waiting.bytes.data(), waiting.bytes.size()});
  }
}

/// Keeps the packet for later when it may be needed.
void TransportStreamReader::keep(std::uint16_t pid, std::string_view packet) {
  Pid& state = pids[pid];
  if ((byteAt(packet, 1) & kPayloadUnitStart) != 0)
    state.load = beginsPes(packet) || isScrambled(packet) ? Load::other : Load::sections;
  if (state.load != Load::sections) return;
  if (backlog.size() == backlogSize) {
    ++pids[backlog.front().pid].forgotten;
    backlog.pop_front();
  }
  Waiting& waiting = backlog.emplace_back();
  waiting.pid = pid;
  std::copy_n(packet.begin(), kPacketSize, waiting.bytes.begin());
}

TransportStreamReader::PacketCounts TransportStreamReader::otherPackets() const {
  PacketCounts others;
  for (std::uint16_t pid = 0; pid < kNullPid; ++pid)
    if (!pids[pid].isFollowed && pids[pid].packets > 0) others[pid] = pids[pid].packets;
  return others;
}

TransportStreamReader::PacketCounts TransportStreamReader::missedPackets() const {
  PacketCounts missed;
  for (std::uint16_t pid = 0; pid < kNullPid; ++pid)
    if (pids[pid].isFollowed && pids[pid].forgotten > 0) missed[pid] = pids[pid].forgotten;
  return missed;
}

}  // namespace vantor::tables
