#pragma once

#include <map>
#include <vector>

#include "servicemux/export.h"
#include "servicemux/muxer/muxed_stream.h"

namespace vantor {

class StandardsPace;

/// The PIDs on which guests are or have been, and what has to be settled there while the classic timing sends: the
/// counter goes on from whichever stream has sent last, and guests are silent beside another stream. With the
/// timing of the standards there is nothing to settle. Guarded by the stream-list mutex of the muxer that it
/// belongs to.
class SERVICEMUX_API SharedPids {
 public:
  /// A PID on which a guest has fallen silent, or may send again.
  struct Change {
    unsigned short pid;
    bool isSilent;
  };
  using Changes = std::vector<Change>;
  using Streams = std::vector<muxed_stream*>;

  /// A guest comes there.
  void add(unsigned short pid) { pids.try_emplace(pid); }
  [[nodiscard]] bool has(unsigned short pid) const { return pids.count(pid) != 0; }

  // All of the following take the streams that are linked on their PID, or all that are linked.

  /// With the classic timing a stream has been linked, or taken off, on a PID that is shared.
  void joined(muxed_stream& stream, const Streams& onPid);
  void left(muxed_stream& stream, const Streams& onPid);

  /// The timing becomes that of the standards, or the classic one again.
  void begin(StandardsPace& pace, const Streams& all);
  void end(const StandardsPace& pace, const Streams& all);

  /// What has changed since the last call and is to be told. When something else is about to come that would take
  /// it back, nothing is.
  [[nodiscard]] Changes take(bool isClassic);

 private:
  struct Pid {
    unsigned char counter = muxed_stream::kNoCC;  // sent last, as far as the streams that sent it are gone
    bool isSilent = false;                        // whether there is a guest that is
    bool isToldSilent = false;
  };

  static void settle(Pid& pid, const Streams& onPid);

  std::map<unsigned short, Pid> pids;
};

}  // namespace vantor
