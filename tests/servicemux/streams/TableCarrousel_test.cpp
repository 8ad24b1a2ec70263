#include "servicemux/streams/TableCarrousel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "servicemux/muxer/VBRmuxer.h"
#include "tests/servicemux/doubles/CountingSource.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Random.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/packets.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using vantor::SubTable;
using vantor::TableCarrousel;
using vantor::VBRmuxer;

constexpr unsigned short kSdtPid = 0x11;

/// Sections of so many packets each. Every packet's payload is `tag`, but for its last byte, which counts them.
std::string makeSubtable(const std::vector<int>& sections, unsigned char tag) {
  std::string packets;
  for (const int size : sections)
    for (int i = 0; i < size; ++i) {
      const std::size_t number = packets.size() / vantor::kPacketSize;
      std::string packet = makePacket(kSdtPid, 0, tag);
      if (i == 0) packet[1] = static_cast<char>(byteAt(packet, 1) | vantor::kPayloadUnitStart);
      packet.back() = static_cast<char>(number);
      packets += packet;
    }
  return packets;
}

class CarrouselTest : public testing::Test {
 protected:
  struct Asked {
    bool sent;
    int tag;
    int number;  // of the packet within its subtable
    int counter;
    nanoseconds next;  // of the carousel's slot, from the beginning on
  };

  SubTable* add(const std::vector<int>& sections, unsigned char tag, unsigned int period, long phase = 0) {
    const FixedRandom random(phase);
    std::string packets = makeSubtable(sections, tag);
    return carrousel->new_packetized_subtable(packets, period, static_cast<unsigned char>(sections.size()));
  }

  Asked ask(nanoseconds at) {
    time_point next = start + seconds(100000);
    std::string packet(vantor::kPacketSize, '\0');
    const bool sent = carrousel->get_packet(reinterpret_cast<signed char*>(packet.data()), start + at, next) != 0;
    if (!sent) return {false, -1, -1, -1, next - start};
    return {true, byteAt(packet, 4), byteAt(packet, 187), counterOf(packet), next - start};
  }

  /// Asks for `count` packets, each when its slot comes, and returns their tags.
  std::vector<int> tagsOf(int count) {
    std::vector<int> tags;
    for (; count > 0; --count) {
      const Asked asked = ask(slot);
      slot = asked.next;
      tags.push_back(asked.tag);
    }
    return tags;
  }

  nanoseconds dueOf(const SubTable& sub) const {
    const time_point late = start + seconds(100000);
    return late - sub.getCurrentTicket(late) - start;
  }

  FrozenClocks clocks;
  const time_point start = clocks.steady();
  nanoseconds slot{0};
  Sender sender;
  std::shared_ptr<VBRmuxer> muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  std::unique_ptr<TableCarrousel> carrousel =
      std::make_unique<TableCarrousel>(muxer, kSdtPid, vantor::muxed_stream::kNoCC);
};

}  // namespace

TEST_F(CarrouselTest, EmptyCarrouselGivesNothingAndIsNotLinked) {
  EXPECT_FALSE(carrousel->is_linked());
  const Asked asked = ask({});
  EXPECT_FALSE(asked.sent);
  EXPECT_EQ(asked.next, seconds(100000)) << "next must be left alone";
}

TEST_F(CarrouselTest, SendsAtTheSumOfItsSubtablesBitrates) {
  add({2}, 1, 100);
  EXPECT_EQ(carrousel->getBitrate(), 30081U);
  add({2}, 2, 1000);
  EXPECT_EQ(carrousel->getBitrate(), 33090U);
  EXPECT_EQ(carrousel->GetNumberSubTables(), 2U);
  EXPECT_EQ(ask({}).next, nanoseconds(45451798));
}

TEST_F(CarrouselTest, ReplacementChangesTheInterval) {
  add({2}, 1, 100);
  SubTable* const sub = add({2}, 2, 1000);
  std::string packets = makeSubtable({4}, 2);
  ASSERT_EQ(carrousel->replace_packetized_subtable(sub, packets, 1), 0);
  EXPECT_EQ(carrousel->getBitrate(), 36098U);
  EXPECT_EQ(ask({}).next, nanoseconds(41664358));
  carrousel->clear_packetized_subtable(sub);
  EXPECT_EQ(ask(nanoseconds(41664358)).next, nanoseconds(41664358 + 49998337));
}

TEST_F(CarrouselTest, SlotsAreCountedFromTheOneBeforeHoweverLateTheyAreServed) {
  add({2}, 1, 100);
  const nanoseconds interval = ask({}).next;
  EXPECT_EQ(ask(interval + milliseconds(20)).next, 2 * interval);
  EXPECT_EQ(ask(10 * interval).next, 3 * interval);
}

TEST_F(CarrouselTest, NextIsOnlyEverBroughtForward) {
  add({2}, 1, 100);
  time_point next = start + milliseconds(1);
  std::string packet(vantor::kPacketSize, '\0');
  EXPECT_EQ(carrousel->get_packet(reinterpret_cast<signed char*>(packet.data()), start, next), 1);
  EXPECT_EQ(next, start + milliseconds(1));
}

TEST_F(CarrouselTest, NothingLeavesBeforeItsSlot) {
  add({1}, 1, 100);
  const nanoseconds next = ask({}).next;
  EXPECT_FALSE(ask(next - nanoseconds(1)).sent);
  EXPECT_TRUE(ask(next).sent);
}

TEST_F(CarrouselTest, LoneDynamicSubtableIsSentEvery1504Seconds) {
  CountingSource source(kSdtPid, 9);
  ASSERT_NE(carrousel->new_packetized_subtable(1000, &source), nullptr);
  EXPECT_EQ(carrousel->getBitrate(), 1U);
  const Asked first = ask({});
  EXPECT_EQ(first.tag, 1);
  EXPECT_EQ(first.next, seconds(1504));
  EXPECT_FALSE(ask(seconds(1504) - nanoseconds(1)).sent);
  EXPECT_EQ(ask(first.next).tag, 2) << "made anew for each sending";
}

TEST_F(CarrouselTest, DynamicSubtableIsDueOnePeriodLaterWithEverySending) {
  CountingSource source(kSdtPid, 9);
  SubTable* const sub = carrousel->new_packetized_subtable(1000, &source);
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(dueOf(*sub), nanoseconds(0));
  EXPECT_TRUE(ask({}).sent);
  EXPECT_EQ(dueOf(*sub), milliseconds(1000));
  EXPECT_TRUE(ask(seconds(1504)).sent);
  EXPECT_EQ(dueOf(*sub), milliseconds(2000));
}

TEST_F(CarrouselTest, BitrateIsComputedIn32Bits) {
  SubTable* const sub = add({3000}, 1, 1000);  // 564000 bytes by 8000 is 217032704 above 2^32
  EXPECT_EQ(carrousel->getBitrate(), 217033U);
  carrousel->clear_packetized_subtable(sub);
  add({1}, 1, 4294967295U);  // its sum with 1504000 is 1503999 above 2^32
  EXPECT_EQ(carrousel->getBitrate(), 0U);
}

TEST_F(CarrouselTest, AddedSubtableLeavesTheNextSlotWhereItIs) {
  add({2}, 1, 100);
  const nanoseconds next = ask({}).next;
  clocks.advance(milliseconds(5));
  add({2}, 2, 100);
  const Asked early = ask(milliseconds(5));
  EXPECT_FALSE(early.sent);
  EXPECT_EQ(early.next, next);
  EXPECT_TRUE(ask(next).sent);
}

TEST_F(CarrouselTest, DynamicSubtableWithoutASourceLeavesTheSlotAsItIs) {
  ASSERT_NE(carrousel->new_packetized_subtable(1000, nullptr), nullptr);
  const Asked asked = ask({});
  EXPECT_TRUE(asked.sent);
  EXPECT_EQ(asked.tag, 0);
}

TEST_F(CarrouselTest, PeriodsBelow25MillisecondsAreRefused) {
  CountingSource source(kSdtPid, 9);
  std::string packets = makeSubtable({1}, 1);
  const std::string before = packets;
  EXPECT_EQ(carrousel->new_packetized_subtable(packets, 24, 1), nullptr);
  EXPECT_EQ(packets, before) << "the caller keeps what was refused";
  EXPECT_EQ(carrousel->new_packetized_subtable(24, &source), nullptr);
  EXPECT_EQ(carrousel->GetNumberSubTables(), 0U);
  EXPECT_FALSE(carrousel->is_linked());
  EXPECT_NE(carrousel->new_packetized_subtable(packets, 25, 1), nullptr);
  EXPECT_EQ(packets, "");
  EXPECT_NE(carrousel->new_packetized_subtable(25, &source), nullptr);
}

TEST_F(CarrouselTest, EmptySubtableIsRefused) {
  std::string none;
  EXPECT_EQ(carrousel->new_packetized_subtable(none, 100, 1), nullptr);
  EXPECT_EQ(carrousel->GetNumberSubTables(), 0U);
}

TEST_F(CarrouselTest, SubtableIsFirstDueAtARandomMomentOfItsPeriod) {
  EXPECT_EQ(dueOf(*add({1}, 1, 100, 12345)), milliseconds(45));
  EXPECT_EQ(dueOf(*add({1}, 2, 1000, 12345)), milliseconds(345));
}

TEST_F(CarrouselTest, WithNothingOverdueTheFirstSubtableIsSentEveryTime) {
  add({1}, 1, 1000, 999);
  add({1}, 2, 1000, 0);
  add({1}, 3, 1000, 998);
  slot = milliseconds(1);
  EXPECT_THAT(tagsOf(2), ElementsAre(1, 2)) << "the second one is overdue at first";
  EXPECT_THAT(tagsOf(2), ElementsAre(1, 1)) << "and is not kept when nothing is";
}

TEST_F(CarrouselTest, SubtableDueExactlyNowIsNotOverdue) {
  add({1}, 1, 1000, 500);
  add({1}, 2, 1000, 0);
  EXPECT_EQ(ask({}).tag, 1);
  slot = ask({}).next;
  EXPECT_THAT(tagsOf(1), ElementsAre(1)) << "chosen at the first slot, when the other was due just then";
  EXPECT_THAT(tagsOf(1), ElementsAre(2)) << "chosen a slot later, when it was overdue";
}

TEST_F(CarrouselTest, AmongEquallyOverdueSubtablesTheNextInTheListComesFirst) {
  for (unsigned char tag = 1; tag <= 4; ++tag) add({1}, tag, 1000, 0);
  slot = milliseconds(1);
  EXPECT_THAT(tagsOf(5), ElementsAre(1, 2, 3, 4, 1));
}

TEST_F(CarrouselTest, SectionIsNeverInterrupted) {
  add({3, 2}, 1, 1000, 500);
  slot = ask({}).next;
  add({1}, 2, 25, 0);
  EXPECT_THAT(tagsOf(4), ElementsAre(1, 1, 2, 2)) << "the other has long been the more overdue one";
}

TEST_F(CarrouselTest, InterruptedSubtableGoesOnWhereItWas) {
  SubTable* const first = add({1, 1, 1}, 1, 1000, 500);
  add({1}, 2, 1000, 0);
  EXPECT_THAT(tagsOf(3), ElementsAre(1, 1, 2));
  EXPECT_EQ(dueOf(*first), milliseconds(500)) << "until its last packet has gone";
  const Asked asked = ask(slot);
  EXPECT_EQ(asked.tag, 1);
  EXPECT_EQ(asked.number, 2);
  EXPECT_EQ(dueOf(*first), milliseconds(1500));
}

TEST_F(CarrouselTest, ReplacedSubtableStartsAnewWithItsPeriodAndDueTime) {
  SubTable* const sub = add({1, 2}, 1, 1000, 300);
  ask({});
  std::string packets = makeSubtable({3}, 7);
  EXPECT_EQ(carrousel->replace_packetized_subtable(sub, packets, 1), 0);
  EXPECT_EQ(packets, makeSubtable({1, 2}, 1)) << "the caller gets the old packets";
  EXPECT_EQ(dueOf(*sub), milliseconds(300));
  EXPECT_EQ(carrousel->getBitrate(), 3U * 188 * 8 + 1);
  const Asked asked = ask(seconds(1));
  EXPECT_EQ(asked.tag, 7);
  EXPECT_EQ(asked.number, 0);
}

TEST_F(CarrouselTest, ReplacedSubtableKeepsItsPlace) {
  SubTable* const first = add({1}, 1, 1000, 999);
  add({1}, 2, 1000, 999);
  std::string packets = makeSubtable({1}, 9);
  carrousel->replace_packetized_subtable(first, packets, 1);
  EXPECT_THAT(tagsOf(3), ElementsAre(9, 9, 9));
}

TEST_F(CarrouselTest, NewPeriodChangesTheRateAndNothingElse) {
  SubTable* const sub = add({2, 1}, 1, 1000, 300);
  SubTable* const other = add({1}, 2, 1000, 999);
  slot = ask({}).next;
  EXPECT_EQ(carrousel->SetPeriod(sub, 100), 0);
  EXPECT_EQ(carrousel->getBitrate(), 30U * 188 * 8 + 1 + 1505);
  EXPECT_EQ(carrousel->onAir(*sub).period, 100U);
  EXPECT_EQ(carrousel->onAir(*other).period, 1000U);
  EXPECT_EQ(dueOf(*sub), milliseconds(300)) << "what is next keeps its due time";
  EXPECT_FALSE(ask(slot - nanoseconds(1)).sent) << "and so does the slot";
  const Asked asked = ask(slot);
  EXPECT_EQ(asked.number, 1) << "it goes on where it was";
  EXPECT_EQ(asked.counter, 1);
  EXPECT_EQ(asked.next, slot + nanoseconds(1504000000000 / (45121 + 1505)));
  EXPECT_EQ(ask(asked.next).number, 2);
  EXPECT_EQ(dueOf(*sub), milliseconds(400)) << "the new period begins behind it";
  EXPECT_EQ(carrousel->onAir(*sub).repetition.count(), 1U);
}

TEST_F(CarrouselTest, NewPeriodThatCannotBeSetChangesNothing) {
  SubTable* const sub = add({2}, 1, 100);
  EXPECT_EQ(carrousel->SetPeriod(sub, 24), -1);
  std::string packets = makeSubtable({1}, 2);
  SubTable stray(packets, 100, 1, false, nullptr);
  EXPECT_EQ(carrousel->SetPeriod(&stray, 200), -1);
  EXPECT_EQ(carrousel->getBitrate(), 30081U);
  EXPECT_EQ(carrousel->onAir(*sub).period, 100U);
  EXPECT_EQ(carrousel->SetPeriod(sub, 25), 0);
}

TEST_F(CarrouselTest, ClearingTheCurrentSubtableCostsOneEmptySlot) {
  SubTable* const first = add({2}, 1, 1000);
  add({1}, 2, 1000);
  slot = ask({}).next;
  EXPECT_EQ(carrousel->clear_packetized_subtable(first), 0);
  const nanoseconds empty = slot;
  EXPECT_THAT(tagsOf(1), ElementsAre(-1));
  EXPECT_EQ(slot, empty + nanoseconds(1504000000000 / 1505)) << "used up like any other";
  EXPECT_FALSE(ask(slot - nanoseconds(1)).sent);
  EXPECT_THAT(tagsOf(1), ElementsAre(2));
}

TEST_F(CarrouselTest, ClearingTheLastSubtableUnlinks) {
  SubTable* const sub = add({1}, 1, 100);
  EXPECT_TRUE(carrousel->is_linked());
  EXPECT_EQ(carrousel->clear_packetized_subtable(sub), 0);
  EXPECT_FALSE(carrousel->is_linked());
  EXPECT_EQ(carrousel->getBitrate(), 0U);
  EXPECT_FALSE(ask({}).sent);
  clocks.advance(seconds(5));
  add({1}, 2, 100);
  EXPECT_TRUE(carrousel->is_linked());
  EXPECT_EQ(ask(seconds(5)).tag, 2) << "current and due at once";
}

TEST_F(CarrouselTest, SubtableThatIsInNoCarrouselIsAnswered) {
  std::string packets = makeSubtable({1}, 1);
  SubTable stray(packets, 100, 1, false, nullptr);
  std::string replacement = makeSubtable({1}, 2);
  EXPECT_EQ(carrousel->replace_packetized_subtable(&stray, replacement, 1), -1);
  EXPECT_EQ(carrousel->replace_packetized_subtable(&stray), -1);
  EXPECT_EQ(carrousel->clear_packetized_subtable(&stray), -1);
  SubTable* const sub = add({1}, 3, 100);
  EXPECT_EQ(carrousel->replace_packetized_subtable(sub), 0);
  EXPECT_EQ(ask({}).tag, 3) << "nothing was changed";
}

TEST_F(CarrouselTest, CounterGoesOnFromTheInitialOne) {
  carrousel = std::make_unique<TableCarrousel>(muxer, kSdtPid, 5);
  add({1}, 1, 100);
  EXPECT_EQ(ask({}).counter, 6);
}

TEST_F(CarrouselTest, TellsWhatIsOnAir) {
  SubTable* const sub = add({2, 1}, 1, 300);
  tagsOf(6);
  const vantor::StreamedTable sent = carrousel->onAir(*sub);
  EXPECT_EQ(sent.period, 300U);
  EXPECT_EQ(sent.facts.packets, 3U);
  EXPECT_EQ(sent.repetition.count(), 2U);
  EXPECT_NEAR(sent.repetition.meanPeriod(), 300, 1);
}

namespace {

/// What the carousel does, by walking over all subtables at each choice.
class WalkedCarrousel {
 public:
  struct Entry {
    SubTable* handle;
    int tag;
    time_point due;
    milliseconds period;
    std::vector<bool> starts;  // for each packet, whether it begins a section
    std::size_t offset = 0;
  };

  void add(Entry entry) {
    entries.push_back(std::move(entry));
    if (entries.size() == 1) current = 0;
  }

  void remove(std::size_t at) {
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(at));
    if (current == static_cast<int>(at)) current = kNone;
    if (current > static_cast<int>(at)) --current;
  }

  /// The tag of the subtable that a slot sends from, -1 when it only chooses.
  int send(time_point now) {
    if (current == kNone) {
      choose(now);
      return -1;
    }
    Entry& entry = entries[static_cast<std::size_t>(current)];
    const bool complete = ++entry.offset == entry.starts.size();
    if (complete) {
      entry.offset = 0;
      entry.due += entry.period;
    }
    const int tag = entry.tag;
    if (complete || entry.starts[entry.offset]) choose(now);
    return tag;
  }

  std::vector<Entry> entries;
  int returnsToTheFirst = 0;  ///< choices of the first one, since nothing was overdue, behind another one

 private:
  static constexpr int kNone = -1;

  void choose(time_point now) {
    std::size_t choice = 0;
    nanoseconds best{0};
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::size_t at = (static_cast<std::size_t>(current + 1) + i) % entries.size();
      const nanoseconds ticket = now >= entries[at].due ? nanoseconds(now - entries[at].due) : nanoseconds(0);
      if (ticket > best) {
        best = ticket;
        choice = at;
      }
    }
    if (best == nanoseconds(0) && current > 0) ++returnsToTheFirst;
    current = static_cast<int>(choice);
  }

  int current = kNone;
};

}  // namespace

TEST_F(CarrouselTest, ChoosesAsAWalkOverAllSubtablesWould) {
  std::mt19937 random(20);
  const auto number = [&random](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
  WalkedCarrousel walked;
  int nextTag = 0;
  time_point now = start;
  int sent = 0;
  for (int step = 0; step < 150000; ++step) {
    clocks.advance(now - clocks.steady());
    const int event = walked.entries.empty() ? 0 : number(0, 999);
    if (event < 5 && walked.entries.size() < 40) {
      std::vector<int> sections(static_cast<std::size_t>(number(1, 3)));
      std::vector<bool> starts;
      for (int& size : sections) {
        size = number(1, 3);
        starts.push_back(true);
        starts.insert(starts.end(), static_cast<std::size_t>(size - 1), false);
      }
      // Few periods and phases, so that subtables are often due at the same time.
      const int period = number(1, 3) * 50;
      const int tag = nextTag++ % 250;
      SubTable* const sub =
          add(sections, static_cast<unsigned char>(tag), static_cast<unsigned>(period), number(0, 2) * 50);
      walked.add({sub, tag, start + dueOf(*sub), milliseconds(period), starts});
    } else if (event < 8) {
      const auto at = static_cast<std::size_t>(number(0, static_cast<int>(walked.entries.size()) - 1));
      carrousel->clear_packetized_subtable(walked.entries[at].handle);
      walked.remove(at);
    }
    if (walked.entries.empty()) continue;
    const Asked asked = ask(now - start);
    if (now - start >= slot) {
      ASSERT_EQ(asked.tag, walked.send(now)) << "step " << step;
      ++sent;
    } else {
      ASSERT_FALSE(asked.sent);
    }
    slot = asked.next;
    // Mostly in time, at times late, so that there are all numbers of overdue subtables.
    now = std::max(now, start + slot) + milliseconds(number(0, 9) == 0 ? number(0, 60) : 0);
  }
  EXPECT_GT(sent, 100000);
  EXPECT_GT(walked.returnsToTheFirst, 100);
}

// --- Threads ----------------------------------------------------------------------------------------------------

namespace {

/// Does something on another thread each time that the thread which made it is about to lock `mutex`: the first
/// action at the first lock and so on.
class AtLocks {
 public:
  using Action = std::function<void()>;

  AtLocks(const void* mutex, std::vector<Action> actions)
      : actions(std::move(actions)), hook([this, mutex](const void* locked) {
          if (locked != mutex || next == this->actions.size()) return;
          const Action& action = this->actions[next++];
          std::thread(action).join();
        }) {}
  ~AtLocks() { EXPECT_EQ(next, actions.size()); }

 private:
  const std::vector<Action> actions;
  std::size_t next = 0;
  const LockHook hook;
};

class SharedCarrousel : public CarrouselTest {
 protected:
  void SetUp() override {
    const LockHook hook([this](const void* mutex) { listMutex = mutex; });
    carrousel->unlinkFromMuxer();
  }

  const void* listMutex = nullptr;
};

}  // namespace

TEST_F(SharedCarrousel, LinksAndUnlinksWithoutItsOwnMutex) {
  int held = 0;
  const LockHook hook(
      [&](const void* mutex) {
        if (mutex == listMutex) {
          EXPECT_EQ(held, 0);
        }
        ++held;
      },
      [](const void*) {}, [&](const void*) { --held; });
  SubTable* const sub = add({1}, 1, 100);
  EXPECT_EQ(carrousel->clear_packetized_subtable(sub), 0);
}

TEST_F(SharedCarrousel, StaysLinkedWhenASubtableIsAddedWhileTheLastOneIsCleared) {
  SubTable* const sub = add({1}, 1, 100);
  {
    const AtLocks leaving(listMutex, {[this] { add({1}, 2, 100); }});
    EXPECT_EQ(carrousel->clear_packetized_subtable(sub), 0);
  }
  EXPECT_EQ(carrousel->GetNumberSubTables(), 1U);
  EXPECT_TRUE(carrousel->is_linked());
}

TEST_F(SharedCarrousel, IsNotLinkedWhenTheAddedSubtableIsClearedAtOnce) {
  SubTable* const sub = add({1}, 1, 100);
  SubTable* added = nullptr;
  {
    const AtLocks leaving(listMutex, {[&] { added = add({1}, 2, 100); },
                                      [&] { EXPECT_EQ(carrousel->clear_packetized_subtable(added), 0); }});
    EXPECT_EQ(carrousel->clear_packetized_subtable(sub), 0);
  }
  EXPECT_EQ(carrousel->GetNumberSubTables(), 0U);
  EXPECT_FALSE(carrousel->is_linked());
}
