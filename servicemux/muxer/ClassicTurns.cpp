#include "servicemux/muxer/ClassicTurns.h"

#include <utility>

namespace vantor {

void ClassicTurns::add(ClassicTurn& turn) {
  turn.order = nextOrder++;
  index.insert(turn);
}

void ClassicTurns::remove(ClassicTurn& turn) { index.erase(index.iterator_to(turn)); }

ClassicTurn* ClassicTurns::choose(const ClassicTurn* current, time_point now) {
  ClassicTurn& earliest = *index.begin();
  if (earliest.ticket(now) == boost::chrono::nanoseconds::zero()) return nullptr;
  if (current == nullptr) return &earliest;
  const auto dueLater = [](const auto& key, const ClassicTurn& turn) {
    return key.first != turn.dueTime ? key.first < turn.dueTime : key.second < turn.order;
  };
  const auto after = index.upper_bound(std::make_pair(earliest.dueTime, current->order), dueLater);
  return after != index.end() && after->dueTime == earliest.dueTime ? &*after : &earliest;
}

}  // namespace vantor
