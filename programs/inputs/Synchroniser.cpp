#include "programs/inputs/Synchroniser.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vantor::inputs {

namespace {

constexpr char kSync = static_cast<char>(kSyncByte);

constexpr std::size_t kStampedDistance = 192;      // BDAV, with four bytes of arrival time in front of each packet
constexpr std::size_t kReedSolomonDistance = 204;  // EN 300 429, with 16 bytes of Reed-Solomon code behind
constexpr std::array<std::size_t, 3> kDistances{kPacketSize, kReedSolomonDistance, kStampedDistance};
constexpr std::size_t kStampSize = kStampedDistance - kPacketSize;
constexpr std::size_t kReedSolomonSize = kReedSolomonDistance - kPacketSize;

// Packets in a row that make sync: a byte of another meaning is a sync byte once in 256 times.
constexpr std::size_t kToLock = 5;
constexpr std::size_t kToLockAgain = 3;  // at the distance from before

/// The bytes behind a sync byte that have to be seen to know whether it is one.
constexpr std::size_t kLookAhead = (kToLock - 1) * kReedSolomonDistance;

constexpr std::size_t kCompactFrom = 1 << 18;

/// Whether packets begin at `offset`, so many as are needed, or fewer up to the end where `all` bytes are there.
bool locksAt(std::string_view bytes, std::size_t offset, std::size_t distance, std::size_t needed, bool all) {
  std::size_t count = 0;
  std::size_t at = offset;
  for (; count < needed && at < bytes.size(); at += distance, ++count)
    if (bytes[at] != kSync) return false;
  if (count == needed) return true;
  const std::size_t end = at - distance + kPacketSize;
  return all && (count > 1 || (count == 1 && (end == bytes.size() || at == bytes.size())));
}

/// The distance of the packets that begin at `offset`, 0 when none do.
std::size_t distanceAt(std::string_view bytes, std::size_t offset, std::size_t before, bool all) {
  if (before != 0 && locksAt(bytes, offset, before, kToLockAgain, all)) return before;
  for (const std::size_t distance : kDistances)
    if (locksAt(bytes, offset, distance, kToLock, all)) return distance;
  return 0;
}

}  // namespace

bool Synchroniser::next(Packet& packet) {
  Step step = Step::again;
  while (step == Step::again) step = distance == 0 ? search() : hold();
  if (step == Step::more) {
    if (finished) finishTail();
    return false;
  }
  const std::string_view found = rest();
  std::copy_n(found.begin(), kPacketSize, packet.bytes.begin());
  packet.time.reset();
  pass(kPacketSize);
  gap = distance - kPacketSize;
  ++counts.packets;
  return true;
}

void Synchroniser::pass(std::size_t count) {
  at += count;
  if (at < kCompactFrom) return;
  bytes.erase(0, at);
  at = 0;
}

/// Within sync: goes to where the next packet is to begin.
Synchroniser::Step Synchroniser::hold() {
  if (rest().size() < gap + kPacketSize) return Step::more;
  if (rest()[gap] != kSync) return bridge();
  pass(gap);
  return Step::here;
}

/// Passes over a packet whose sync byte is damaged, when the ones behind are where they belong. Else sync is lost
/// from the end of the packet before on.
Synchroniser::Step Synchroniser::bridge() {
  const std::size_t next = gap + distance;
  if (rest().size() <= next + (kToLockAgain - 1) * distance && !finished) return Step::more;
  if (rest().size() > next && locksAt(rest(), next, distance, kToLockAgain - 1, finished)) {
    counts.skippedBytes += kPacketSize;
    ++counts.resynchronisations;
    pass(gap + kPacketSize);
  } else {
    lastDistance = std::exchange(distance, 0);
    gap = 0;
  }
  return Step::again;
}

/// Out of sync: looks for packets in a row.
Synchroniser::Step Synchroniser::search() {
  const std::string_view unread = rest();
  std::size_t offset = 0;
  while ((offset = unread.find(kSync, offset)) != std::string_view::npos) {
    if (!finished && unread.size() - offset <= kLookAhead) break;
    if (const std::size_t found = distanceAt(unread, offset, lastDistance, finished); found != 0) {
      lock(offset, found);
      return Step::again;
    }
    ++offset;
  }
  const std::size_t passed = std::min(offset, unread.size());
  skipped += passed;
  pass(passed);
  return Step::more;
}

void Synchroniser::lock(std::size_t offset, std::size_t found) {
  skipped += offset;
  pass(offset);
  distance = found;
  // What belongs to packets is not junk: the stamp of this one, the code of the one before.
  const bool isCoded = distance == kReedSolomonDistance && lastDistance == kReedSolomonDistance;
  const std::size_t own = distance == kStampedDistance ? kStampSize : isCoded ? kReedSolomonSize : 0;
  skipped -= std::min(skipped, own);
  if (skipped == 0 && lastDistance == 0) return;
  counts.skippedBytes += skipped;
  ++counts.resynchronisations;
  skipped = 0;
}

/// What is left when no more packet comes.
void Synchroniser::finishTail() {
  counts.tailBytes += skipped + rest().size() - std::min(gap, rest().size());
  skipped = 0;
  bytes.clear();
  at = 0;
}

bool beginsWithPackets(std::string_view bytes, bool all) {
  return distanceAt(bytes, 0, 0, all) != 0 || locksAt(bytes, kStampSize, kStampedDistance, kToLock, all);
}

bool holdsPackets(std::string_view bytes, bool all) {
  InputCounts counts;
  Synchroniser synchroniser(counts);
  synchroniser.append(bytes);
  if (all) synchroniser.finish();
  Packet packet;
  return synchroniser.next(packet);
}

}  // namespace vantor::inputs
