#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

/// Follows which of an object's own mutexes the thread that made it holds while it goes on into other objects and
/// locks theirs. One a thread.
class HeldLocks {
 public:
  HeldLocks(const void* object, std::size_t size);
  HeldLocks(const HeldLocks&) = delete;
  HeldLocks& operator=(const HeldLocks&) = delete;
  ~HeldLocks();

  using Held = std::set<const void*>;

  /// The object's mutexes, in the order in which they were locked first.
  std::vector<const void*> own;
  /// What was held whenever a mutex of another object was locked; nothing held, and the same once more, left out.
  std::vector<Held> heldElsewhere;

  // For the doubles of the lock functions.
  void locked(const void* mutex);
  void unlocked(const void* mutex);

 private:
  const void* const begin;
  const void* const end;
  Held held;
};
