#pragma once

#include <boost/chrono.hpp>
#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "servicemux/export.h"
#include "servicemux/muxer/Ceiling.h"
#include "servicemux/muxer/GapGroup.h"
#include "servicemux/muxer/Lane.h"
#include "servicemux/muxer/PacedTable.h"

namespace vantor {

/// What one table asks of the output.
struct TableNeed {
  unsigned short pid = 0;
  psi::TableKey key;
  bool hasSections = false;
  std::size_t sections = 0;
  unsigned int period = 0;  ///< ms
  double kbps = 0;
};

/// The pacing of the standards: chooses the packets of each datagram by the deadlines of the sections they belong
/// to.
///
/// A period is a maximum. Each section is sent again a little before its period is over, so that packets of several
/// PIDs can share a datagram; at least 25 ms lie between sections of one PID, table_id and table_id_extension; the
/// packets of a PID leave no faster than a decoder's buffer takes them; and over any second no more than the
/// bitrate leaves. What does not fit under it is stretched, all periods by one factor.
///
/// It has no thread, no clock and no lock: times come as arguments, and the stream-list mutex of the muxer guards
/// it. Choosing costs O(log n) in the number of tables. docs/timing.md tells how the rules work together.
class SERVICEMUX_API StandardsPace {
 public:
  using time_point = PacedTable::time_point;
  using nanoseconds = PacedTable::nanoseconds;

  StandardsPace();
  StandardsPace(const StandardsPace&) = delete;
  StandardsPace& operator=(const StandardsPace&) = delete;
  ~StandardsPace();

  /// `kbps` is at least 1.
  void setCeiling(unsigned int kbps, time_point now);
  /// How long packets wait for others, and how many share a datagram.
  void setDatagrams(nanoseconds longestWait, unsigned int packets, time_point now);

  /// Puts what a table of the stream now holds in the place of what it held, if anything. Its first section is
  /// wanted at once; what it held keeps its limits.
  void put(PacedTable& table, muxed_stream& stream, time_point now);
  /// The same content at another period.
  void changePeriod(PacedTable& table, time_point now);
  /// Takes a table off air, if it is there. A section that is under way is finished.
  void remove(PacedTable& table);
  /// From now on only sections that are under way are finished; with false all goes on.
  void finish(bool only);
  /// Whether one is.
  [[nodiscard]] bool isUnderWay() const;
  /// Takes all tables off air and begins anew: up to `now` somebody else has sent.
  void clear(time_point now);

  /// The counter that the next packet of a PID continues from: as it is when somebody else begins to send, and goes
  /// on from when somebody else has sent. kNoCC where nothing has been sent since the beginning.
  [[nodiscard]] unsigned char counterOf(unsigned short pid) const;
  void continueFrom(unsigned short pid, unsigned char cc);

  /// Somebody else has sent up to then, nobody knows how much: a second of the ceiling is used up, and what is
  /// put on air next is not wanted before it is over.
  void fillUntil(time_point end);

  /// When the next datagram is to leave, max when there is none.
  [[nodiscard]] time_point nextDeparture() const;

  /// Writes the packets of a datagram that leaves at `now` and returns how many there are. Their slots may be
  /// `ahead` of now, or as far as a datagram needs.
  [[nodiscard]] std::size_t choose(time_point now, nanoseconds ahead, signed char* packets);

  /// What has been chosen since the last call has left only now: distances count from here.
  void sentAt(time_point sent);

  /// What all tables need, in kbit/s, and by how much all periods are stretched, 1 when that fits.
  [[nodiscard]] double required() const;
  [[nodiscard]] double stretch() const { return conditions.stretch; }
  [[nodiscard]] std::vector<TableNeed> needs() const;

 private:
  struct MayGoEarlier {
    bool operator()(const Lane& a, const Lane& b) const { return a.mayAt < b.mayAt; }
  };
  struct DueEarlier {
    bool operator()(const Lane& a, const Lane& b) const { return a.deadline < b.deadline; }
  };
  template <typename Order, boost::intrusive::set_member_hook<> Lane::*hook>
  using Index =
      boost::intrusive::multiset<Lane,
                                 boost::intrusive::member_hook<Lane, boost::intrusive::set_member_hook<>, hook>,
                                 boost::intrusive::compare<Order>, boost::intrusive::constant_time_size<true>>;
  using Waiting = Index<MayGoEarlier, &Lane::waitingHook>;
  using Ready = Index<DueEarlier, &Lane::readyHook>;

  void add(PacedTable& table, muxed_stream& stream, const TableLayout& layout);
  Lane& laneOf(unsigned short pid);
  GapGroup& groupOf(unsigned short pid, const psi::TableKey& key);
  void dropSpareGroups();
  void count(PacedTable& table, int sign);
  time_point promptDeadline(const TableLayout& layout, Lane& lane);
  void refit(time_point now);
  void detach(Lane& lane);
  void place(Lane& lane);
  void admit(time_point now, time_point soon);
  [[nodiscard]] time_point soonest(time_point slot) const;
  [[nodiscard]] nanoseconds patience(const Lane& lane) const;
  Lane* mostWanted(time_point now, nanoseconds reach);
  std::size_t fillUp(time_point now, nanoseconds reach, signed char* packets, std::size_t count);
  [[nodiscard]] double load() const;
  [[nodiscard]] std::size_t room() const;

  Ceiling ceiling;
  nanoseconds wait{0};
  unsigned int packetsPerDatagram = 1;
  PacedTable::Conditions conditions;
  double plannedStretch = 1;  // that all plans have been made with, or nearly

  std::map<unsigned short, std::unique_ptr<Lane>> lanes;  // by PID; a lane stays, for its counter
  std::unordered_map<std::uint64_t, GapGroup> groups;     // by PID, table_id and extension
  std::size_t groupsToDropAt = 0;
  std::set<const GapGroup*> overfull;  // those that ask for more than all the time
  time_point begun;                    // what was sent before is not known
  std::uint64_t rate = 0;              // millionths of a packet a second, of all tables
  time_point newWork;                  // when what has been put on air so far may have left once

  std::vector<GapGroup*> lastGroups;  // of sections that have ended in what was chosen last
  Waiting waiting;                    // lanes that may not go on yet
  Ready ready;                        // those that may
  std::vector<PacedTable*> fillers;
  bool isFinishing = false;
};

}  // namespace vantor
