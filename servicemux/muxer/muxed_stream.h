#pragma once

#include <atomic>
#include <boost/chrono.hpp>
#include <boost/intrusive/list_hook.hpp>
#include <memory>
#include <string>
#include <vector>

#include "servicemux/export.h"
#include "servicemux/muxer/PacedTable.h"

namespace vantor {

class VBRmuxer;

struct muxed_stream_tag;

/// A stream must be out of the muxer's list when it dies; the hook asserts it, in every build.
using muxed_stream_hook =
    boost::intrusive::list_base_hook<boost::intrusive::tag<muxed_stream_tag>,
                                     boost::intrusive::link_mode<boost::intrusive::safe_link>>;

/// A source of packets for one PID, polled by the producer of a VBRmuxer while it is linked there.
///
/// A stream links itself when it has something to send and unlinks itself when it is cleared. It does not keep
/// the muxer alive: once the muxer is gone, linking and unlinking do nothing. Lock order: the muxer's
/// stream-list mutex comes before a stream's own mutex, so no stream may link or unlink while holding its own.
///
/// A guest shares its PID with streams that do not know of it. With the timing of the standards a PID has one
/// counter whatever streams share it; with the classic one, where each stream has its own, a guest is silent while
/// another stream is linked on its PID.
///
/// Every concrete stream calls unlinkFromMuxer() first thing in its own destructor: this base's destructor runs
/// when the derived part, which the producer may just be polling, is already gone.
class SERVICEMUX_API muxed_stream : public muxed_stream_hook {
 public:
  using time_point = boost::chrono::steady_clock::time_point;

  /// The continuity counter of a stream that has not sent a packet yet.
  static constexpr unsigned char kNoCC = 16;

  /// How a stream has its PID.
  enum class Tenancy { kOwner, kGuest };

  muxed_stream(const muxed_stream&) = delete;
  muxed_stream& operator=(const muxed_stream&) = delete;
  virtual ~muxed_stream();

  /// Current rate in bit/s, for displays; the scheduler does not use it. Any thread.
  virtual unsigned int getBitrate() = 0;

  /// Writes the stream's next packet (188 bytes) to `packet` and returns 1 when it is due at `now`; else writes
  /// nothing and returns 0. `now` is the producer's slot clock. When the stream has content, `next` is lowered
  /// to the due time of the packet after, never raised. Producer thread only, stream-list mutex held.
  [[nodiscard]] virtual int get_packet(signed char* packet, time_point now, time_point& next) = 0;

  /// Another pacing has sent until `now`: the stream's own begins anew. Stream-list mutex held.
  virtual void beginClassic(time_point now) = 0;

  // The same for the pacing of the standards. Both with the stream-list mutex held.

  /// What one of the stream's tables holds now. Any thread.
  [[nodiscard]] virtual TableLayout layoutOf(PacedTable& table) = 0;

  /// Appends the packets of a section of one of the stream's tables. False when there is no such section. Producer
  /// thread only.
  [[nodiscard]] virtual bool takeSection(PacedTable& table, std::size_t section, time_point now,
                                         std::string& packets) = 0;

  /// All tables that the stream has. Any thread.
  [[nodiscard]] virtual std::vector<PacedTable*> pacedTables() = 0;

  [[nodiscard]] unsigned short packetPid() const { return pid; }

  /// The counter that another pacing or another stream has sent last on the stream's PID; kNoCC changes nothing.
  /// While the stream is linked, with the stream-list mutex held.
  void continueFrom(unsigned char cc) {
    if (cc != kNoCC) lastCC.store(cc, std::memory_order_relaxed);
  }

  /// The continuity counter last sent (0 to 15), kNoCC before the first packet. Any thread.
  unsigned char GetLastCC() const;

  [[nodiscard]] bool isGuest() const { return tenancy == Tenancy::kGuest; }

  /// Whether it is a guest that has to let another stream of its PID send. Any thread.
  [[nodiscard]] bool isSilent() const { return silent.load(std::memory_order_relaxed); }
  /// Stream-list mutex held.
  void setSilent(bool is) { silent.store(is, std::memory_order_relaxed); }

  /// Appends the stream to the muxer's list unless it is there already, and in both cases wakes the producer,
  /// which then starts anew from the current time. Any thread that holds no stream's mutex.
  void linkToMuxer();

  /// Takes the stream off the muxer's list. On return the producer is not polling it. Any thread that holds no
  /// stream's mutex.
  void unlinkFromMuxer();

 protected:
  /// `initialCC` is the counter the first packet continues from, kNoCC to take the packet's own.
  muxed_stream(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, bool flag, unsigned char initialCC,
               Tenancy tenancy = Tenancy::kOwner);

  /// Tells the muxer that a table holds something else, or at another period, for the pacing of the standards; with
  /// the classic one there is nothing to do. Any thread that holds no stream's mutex.
  void announce(PacedTable& table);
  void announcePeriod(PacedTable& table);
  /// Tells it that a table is going to be destroyed.
  void withdraw(PacedTable& table);

  /// Makes the continuity counter of `packet` follow the one sent last (ISO/IEC 13818-1 clause 2.4.3.3), so that
  /// stored packets can be repeated and replaced without a break. Producer thread only.
  void restamp_cc(signed char* packet);

 private:
  // Constant after construction.
  const unsigned short pid;
  const Tenancy tenancy;
  // Written by the producer, read by whoever continues the counter in another stream.
  std::atomic<unsigned char> lastCC;
  std::atomic<bool> silent{false};
  // Constant after construction. Nothing in the library reads it; it is kept for compatibility.
  [[maybe_unused]] const bool flag;
  const std::weak_ptr<VBRmuxer> muxer;
};

}  // namespace vantor
