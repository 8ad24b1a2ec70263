#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "interface/psi/packet.h"
#include "programs/tables/sections/Section.h"
#include "programs/tables/sections/SectionAssembler.h"

namespace vantor::tables {

/// Reads the sections of those PIDs of a transport stream that are followed. Which ones these are may show only in
/// what is read: of PIDs that may come up later the last packets are kept, so that their sections are there from
/// the beginning on.
class TransportStreamReader {
 public:
  using SectionSink = std::function<void(std::uint16_t pid, const Section& section)>;
  using FaultSink = std::function<void(std::uint16_t pid, SectionFault fault)>;
  using PacketCounts = std::map<std::uint16_t, std::uint64_t>;

  /// How many packets are kept of the PIDs that are not followed.
  static constexpr std::size_t kUsualBacklog = (32U << 20) / kPacketSize;

  TransportStreamReader(SectionSink onSection, FaultSink onFault, std::size_t backlogSize = kUsualBacklog);

  /// May be called by the sinks. The PID of null packets is never followed.
  void follow(std::uint16_t pid);

  /// Takes the next packet (188 bytes, in sync).
  void push(std::string_view packet);

  [[nodiscard]] bool follows(std::uint16_t pid) const { return pids[pid].isFollowed; }

  /// How many packets there are on each PID that was not followed, without null packets.
  PacketCounts otherPackets() const;

  /// How many packets of PIDs that came up later were no more there by then.
  PacketCounts missedPackets() const;

 private:
  static constexpr std::size_t kPids = 0x2000;

  /// What the packets of a PID carry, as the latest one shows in which something begins.
  enum class Load : unsigned char { unknown, sections, other };

  struct Waiting {
    std::uint16_t pid;
    std::array<char, kPacketSize> bytes;
  };

  struct Pid {
    std::uint64_t packets = 0;
    std::uint64_t forgotten = 0;  // of the backlog
    Load load = Load::unknown;
    bool isFollowed = false;
  };

  void followUp();
  void keep(std::uint16_t pid, std::string_view packet);

  const SectionSink onSection;
  const FaultSink onFault;
  const std::size_t backlogSize;
  std::vector<Pid> pids{kPids};
  std::map<std::uint16_t, SectionAssembler> assemblers;  // of those followed whose backlog is read
  std::vector<std::uint16_t> ahead;                      // followed, and the backlog is to be read
  std::deque<Waiting> backlog;
};

}  // namespace vantor::tables
