#pragma once

#include <boost/chrono.hpp>
#include <boost/intrusive/set.hpp>
#include <boost/intrusive/set_hook.hpp>
#include <cstdint>
#include <string>

#include "servicemux/muxer/PacedTable.h"
#include "servicemux/muxer/muxed_stream.h"

namespace vantor {

/// One PID as the deadlines see it: the tables that share it, the section that is under way, and how fast its
/// packets may follow each other. A section once begun is finished, from a copy of its own, before another one
/// begins, whatever becomes of its table. Guarded like its tables.
class Lane {
 public:
  using time_point = PacedTable::time_point;
  using nanoseconds = PacedTable::nanoseconds;
  using Conditions = PacedTable::Conditions;

  explicit Lane(unsigned short pid);
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  void add(PacedTable& table);
  void remove(PacedTable& table);
  /// Takes the table's plan anew, unless its section is just under way: then it is planned at its end.
  void replan(PacedTable& table, const Conditions& conditions);
  /// The same for all tables.
  void replanAll(const Conditions& conditions);

  /// Looks anew when the lane can go on. To be called after each change, before the times below are read.
  void refresh();

  [[nodiscard]] bool isIdle() const { return mayAt == time_point::max(); }

  /// Writes the lane's next packet (188 bytes) when there is one that may leave at `now`; a section that would have
  /// to go before `soon` may begin early.
  [[nodiscard]] bool take(time_point now, time_point soon, const Conditions& conditions, signed char* packet);

  /// The sections that keep a distance from the one that ended with the packet taken last; null when none did.
  [[nodiscard]] GapGroup* ended() const { return isUnderWay() ? nullptr : endedGroup; }

  /// Writes the next packet of a filler of this PID, if it has one.
  [[nodiscard]] bool fill(PacedTable& filler, time_point now, signed char* packet);

  /// Whether the table's next section is planned or under way.
  [[nodiscard]] bool holds(const PacedTable& table) const;

  /// Takes all tables off.
  void clear();
  [[nodiscard]] bool isUnderWay() const { return offset < section.size(); }

  /// Calls `with` for each table that is on air.
  template <typename With>
  void eachTable(With with) const {
    for (const PacedTable& table : waiting) with(table);
    for (const PacedTable& table : ready) with(table);
    if (current != nullptr) with(*current);
  }

  /// Makes room for a section of so many packets.
  void reserve(std::size_t packets);

  /// What its tables ask for, as a part of what it may send.
  [[nodiscard]] double load() const;

  /// From packet to packet of one section.
  [[nodiscard]] nanoseconds packetInterval() const;

  /// The counter sent last, kNoCC when nothing has been sent since clear().
  [[nodiscard]] unsigned char counter() const { return isNew ? muxed_stream::kNoCC : lastCC; }
  /// Somebody else has sent this one.
  void continueFrom(unsigned char cc) {
    lastCC = cc;
    isNew = false;
  }

  const unsigned short pid;

  // Valid after refresh(); max when there is nothing to send.
  time_point mayAt;     ///< the next packet may leave without need
  time_point mustGo;    ///< and must not wait for others any longer
  time_point pressing;  ///< and not for its slot
  time_point deadline;  ///< and is late behind that

  std::uint64_t rate = 0;  ///< millionths of a packet a second, of all tables
  time_point newWork;      ///< when all that has been put on air may have left once

  boost::intrusive::set_member_hook<> waitingHook;
  boost::intrusive::set_member_hook<> readyHook;

 private:
  template <typename Order, PacedTable::Hook PacedTable::*hook>
  using Index =
      boost::intrusive::multiset<PacedTable, boost::intrusive::member_hook<PacedTable, PacedTable::Hook, hook>,
                                 boost::intrusive::compare<Order>, boost::intrusive::constant_time_size<false>>;
  using Waiting = Index<PacedTable::EligibleEarlier, &PacedTable::waitingHook>;
  using Ready = Index<PacedTable::LateEarlier, &PacedTable::readyHook>;

  [[nodiscard]] bool isFast() const;
  [[nodiscard]] nanoseconds averageInterval() const;
  [[nodiscard]] time_point packetMayAt() const;
  [[nodiscard]] time_point sectionMayAt(time_point whenHurried) const;
  [[nodiscard]] time_point packetMustGo() const;

  [[nodiscard]] Conditions conditionsHere(Conditions conditions) const;
  [[nodiscard]] nanoseconds longest(const PacedTable& table, Conditions conditions) const;
  void detach(PacedTable& table);
  void insert(PacedTable& table);
  void admit(time_point now, time_point soon);
  [[nodiscard]] time_point firstHurried() const;
  PacedTable* choose(time_point now, const Conditions& conditions);
  static time_point possibleAt(const PacedTable& table);
  PacedTable* endangeredBy(const PacedTable& chosen, time_point now, const Conditions& conditions);
  bool begin(time_point now, time_point soon, const Conditions& conditions);
  void stamp(signed char* packet, muxed_stream* stream);
  void end(time_point now, const Conditions& conditions);
  void left(time_point now);

  Waiting waiting;  // tables that are not eligible yet
  Ready ready;      // those that are

  // The section under way.
  std::string section;
  std::size_t offset = 0;
  PacedTable* current = nullptr;  // null when its table is gone
  GapGroup* group = nullptr;
  std::size_t number = 0;  // of the section in its table
  time_point currentPressing;
  time_point currentDeadline;
  GapGroup* endedGroup = nullptr;

  unsigned char lastCC = muxed_stream::kNoCC;
  bool isNew = true;  // the stream may know better, having sent with another timing
  // When the packets before left, and when the next one would at the rate of all tables.
  time_point last;
  time_point beforeLast;
  time_point clock;
};

}  // namespace vantor
