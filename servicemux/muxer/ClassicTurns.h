#pragma once

#include <boost/chrono.hpp>
#include <boost/intrusive/set.hpp>
#include <boost/intrusive/set_hook.hpp>
#include <cstdint>

namespace vantor {

/// A subtable's place among those that share a carousel, in the classic pacing: when it is due to be sent again.
class ClassicTurn {
 public:
  using time_point = boost::chrono::steady_clock::time_point;

  explicit ClassicTurn(time_point due) : dueTime(due) {}

  /// How long it has been due at `now`; 0 when it is not.
  [[nodiscard]] boost::chrono::nanoseconds ticket(time_point now) const {
    return now >= dueTime ? now - dueTime : boost::chrono::nanoseconds::zero();
  }

  /// What was due before counts as due now. Not while it is among the turns.
  void beginAt(time_point now) {
    if (dueTime < now) dueTime = now;
  }

  /// It has been sent whole: due again a period in ms after it was due. Not while it is among the turns.
  void complete(unsigned int period) { dueTime += boost::chrono::milliseconds(period); }

 private:
  friend class ClassicTurns;

  time_point dueTime;
  std::uint64_t order = 0;  // that of their adding
  boost::intrusive::set_member_hook<> hook;
};

/// Chooses whose turn it is, by an index: with thousands of subtables as quickly as with one.
class ClassicTurns {
 public:
  using time_point = ClassicTurn::time_point;

  /// Adds a turn behind all that were added before.
  void add(ClassicTurn& turn);
  void remove(ClassicTurn& turn);

  /// Does something with a turn that may move its due time on.
  template <typename Change>
  auto change(ClassicTurn& turn, Change what) {
    index.erase(index.iterator_to(turn));
    const auto result = what();
    index.insert(turn);
    return result;
  }

  /// The turn that has been due longest at `now`. Among those due equally long it is the first one behind `current`
  /// in the order of their adding, wrapping around. Null when none is overdue; there is at least one turn.
  [[nodiscard]] ClassicTurn* choose(const ClassicTurn* current, time_point now);

 private:
  /// What is due earliest comes first; of those due at the same time, what was added first.
  struct DueEarlier {
    bool operator()(const ClassicTurn& a, const ClassicTurn& b) const {
      return a.dueTime != b.dueTime ? a.dueTime < b.dueTime : a.order < b.order;
    }
  };
  using Index = boost::intrusive::set<
      ClassicTurn,
      boost::intrusive::member_hook<ClassicTurn, boost::intrusive::set_member_hook<>, &ClassicTurn::hook>,
      boost::intrusive::compare<DueEarlier>, boost::intrusive::constant_time_size<false>>;

  Index index;
  std::uint64_t nextOrder = 0;
};

}  // namespace vantor
