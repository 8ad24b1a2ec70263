#pragma once

#include <boost/chrono.hpp>
#include <boost/intrusive/set_hook.hpp>
#include <cstdint>
#include <vector>

#include "interface/psi/tableTypes.h"
#include "servicemux/export.h"

namespace vantor {

class Lane;
class UtcSecond;
class muxed_stream;
struct GapGroup;

/// What the deadlines have to know of a table's content.
struct TableLayout {
  enum class Kind {
    kRepeated,  ///< again and again, each section once a period
    kQueued,    ///< each section once, first in, first out
    kFiller,    ///< whenever a packet slot is left over
  };

  Kind kind = Kind::kRepeated;
  unsigned int period = 0;             ///< ms, of what is repeated
  bool hasSections = false;            ///< false for packets that nobody decodes
  psi::TableKey key;                   ///< of the first section
  std::vector<std::uint32_t> packets;  ///< of each section in turn; of what is queued there need be none
  const UtcSecond* second = nullptr;   ///< for a table that tells the time it is sent at
};

/// One table as the deadlines see it: when its sections arrived, and when the next one is wanted. Guarded by the
/// stream-list mutex of the muxer; only that muxer's StandardsPace changes it.
class SERVICEMUX_API PacedTable {
 public:
  using time_point = boost::chrono::steady_clock::time_point;
  using nanoseconds = boost::chrono::nanoseconds;
  using Hook = boost::intrusive::set_member_hook<>;

  PacedTable() = default;
  PacedTable(const PacedTable&) = delete;
  PacedTable& operator=(const PacedTable&) = delete;

  /// Sets the ns from packet to packet of what is queued, 0 for as soon as possible.
  void setInterval(nanoseconds ns) { interval = ns; }
  /// Sets whether what is queued next are the tables that were queued before once more: they keep their distance.
  void setRepeats(bool next) { repeats = next; }

 private:
  friend class Lane;
  friend class StandardsPace;

  /// When a section is to leave: never before `possible`; not before `eligible` without need; from `mustGo` on it
  /// does not wait for others to fill the datagram, from `hurried` on not for its share of its PID, and from
  /// `pressing` on not for its slot; it is late behind `deadline`.
  struct Job {
    std::size_t section = 0;
    time_point possible;
    time_point eligible;
    time_point mustGo;
    time_point hurried;
    time_point pressing;
    time_point deadline;
  };

  struct EligibleEarlier {
    bool operator()(const PacedTable& a, const PacedTable& b) const { return a.job.eligible < b.job.eligible; }
  };
  struct LateEarlier {
    bool operator()(const PacedTable& a, const PacedTable& b) const { return a.job.deadline < b.job.deadline; }
  };

  /// What the plan of the next section depends on.
  struct Conditions {
    double stretch = 1;             ///< of all periods
    nanoseconds wait{0};            ///< for others to fill the datagram
    nanoseconds slot{0};            ///< of a packet at the ceiling
    nanoseconds packetInterval{0};  ///< from packet to packet of one section
    time_point now;
  };

  /// Whether it may be sent earlier than planned.
  [[nodiscard]] bool isPeriodic() const {
    return layout.kind == TableLayout::Kind::kRepeated && layout.hasSections && layout.second == nullptr &&
           !isPrompt;
  }

  /// Whether it is a queue of messages that come on top of the tables.
  [[nodiscard]] bool isOfMessages() const {
    return layout.kind == TableLayout::Kind::kQueued && interval != nanoseconds::zero();
  }

  void put(TableLayout newLayout, const Conditions& conditions, time_point wantedBy);
  void arrived(std::size_t section, const Conditions& conditions);
  void plan(const Conditions& conditions);
  void planQueued(const Conditions& conditions);
  void planOnTheSecond(const Conditions& conditions);
  void planRepeated(const Conditions& conditions);
  [[nodiscard]] nanoseconds untilSecond(const Conditions& conditions) const;
  void planPrompt(const Conditions& conditions);
  void planEvenly(const Conditions& conditions);
  void postpone(time_point until);
  [[nodiscard]] nanoseconds period(const Conditions& conditions) const;
  [[nodiscard]] nanoseconds duration(std::size_t section, const Conditions& conditions) const;

  muxed_stream* stream = nullptr;
  Lane* lane = nullptr;  // null while it is not on air
  GapGroup* group = nullptr;
  TableLayout layout;
  nanoseconds interval{0};
  bool repeats = false;
  std::uint64_t need = 0;  // millionths of a packet a second

  std::vector<time_point> arrivals;  // of each section, its last packet; one before the first is made up
  time_point previous;               // arrival of the section sent last
  bool isPrompt = false;             // its first section is wanted at once
  bool isNew = false;                // none of its sections has left yet
  time_point promptSince;
  time_point promptBy;
  Job job;

  Hook waitingHook;
  Hook readyHook;
};

}  // namespace vantor
