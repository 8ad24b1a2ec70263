#pragma once

#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "servicemux/muxer/VBRmuxer.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/muxer/ClassicStream.h"
#include "tests/servicemux/packets.h"

/// A stream with a given number of packets, the first due at a given time and each of the others one interval
/// later. Remembers when it was asked and when it gave a packet. Packet number n has the payload n modulo 256.
class ScriptedStream : public ClassicStream {
 public:
  static constexpr std::size_t kEndless = std::numeric_limits<std::size_t>::max();

  ScriptedStream(const std::shared_ptr<vantor::VBRmuxer>& muxer, unsigned short pid, time_point due,
                 nanoseconds interval, std::size_t packets = kEndless)
      : ClassicStream(muxer, pid, true, 15), pid(pid), due(due), interval(interval), left(packets) {}
  ~ScriptedStream() override { unlinkFromMuxer(); }

  unsigned int getBitrate() override { return 0; }

  int get_packet(signed char* packet, time_point now, time_point& next) override {
    asked.push_back(now);
    limits.push_back(next - now);
    onAsked();
    if (left == 0) return 0;
    int result = 0;
    if (now >= due) {
      const std::string written = makePacket(pid, 0, static_cast<unsigned char>(given.size()));
      std::memcpy(packet, written.data(), written.size());
      restamp_cc(packet);
      given.push_back(now);
      due += interval;
      if (--left == 0) return 1;
      result = 1;
    }
    if (due < next) next = due;
    return result;
  }

  // Producer thread while the muxer runs.
  std::vector<time_point> asked;
  std::vector<nanoseconds> limits;  ///< the next due time handed in, from the slot clock on
  std::vector<time_point> given;
  std::function<void()> onAsked = [] {};

 private:
  const unsigned short pid;
  time_point due;
  const nanoseconds interval;
  std::size_t left;
};
