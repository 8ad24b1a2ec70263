#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// Reads the sections of those PIDs of a transport stream that are followed. Which ones these are may show only in
/// what is read: the packets are gone through again for PIDs that come up on the way.
class TransportStreamReader {
 public:
  using SectionSink = std::function<void(std::uint16_t pid, const Section& section)>;
  using FaultSink = std::function<void(std::uint16_t pid, SectionFault fault)>;

  /// The bytes must outlive the reader. Throws InputError when they are not whole 188-byte packets.
  explicit TransportStreamReader(std::string_view bytes);

  /// To be called before read() or by its sinks. The PID of null packets is never followed.
  void follow(std::uint16_t pid);

  /// Reads each PID that is followed from the first packet to the last.
  void read(const SectionSink& onSection, const FaultSink& onFault);

  /// Goes through the packets of all PIDs that were not followed, but for null packets.
  void readOthers(const std::function<void(std::uint16_t pid, std::string_view packet)>& onPacket) const;

  std::size_t packets() const;
  /// How many packets there are on each PID that was not followed.
  std::map<std::uint16_t, std::uint64_t> otherPackets() const;

 private:
  std::string_view packet(std::size_t at) const;

  const std::string_view bytes;
  std::set<std::uint16_t> followed;
  std::vector<std::uint16_t> ahead;  // to be read in the next round
};

}  // namespace vantor::tables
