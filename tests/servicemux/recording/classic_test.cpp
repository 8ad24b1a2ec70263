#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <random>

#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/interface/RecordedLog.h"
#include "tests/servicemux/doubles/CountingSource.h"
#include "tests/servicemux/doubles/Random.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/Watchdog.h"
#include "tests/servicemux/packets.h"
#include "tests/servicemux/recording/Recorder.h"

/// Holds the classic pacing to a recording: whatever is rebuilt around it, every stream is asked at the same slot
/// times, gives the same packets and tells the same next times. RECORD=FILE in the environment records anew.

namespace {

using vantor::SectionQueue;
using vantor::SimpleTable;
using vantor::SubTable;
using vantor::TableCarrousel;
using vantor::VBRmuxer;

constexpr int kSteps = 10000;
constexpr int kStretch = 100;

/// A stream whose answers are recorded.
template <typename Stream>
class Recorded : public Stream {
 public:
  template <typename... Arguments>
  Recorded(Recorder& recorder, unsigned int number, Arguments&&... arguments)
      : Stream(std::forward<Arguments>(arguments)...), recorder(recorder), number(number) {}
  ~Recorded() override { this->unlinkFromMuxer(); }

  int get_packet(signed char* packet, time_point now, time_point& next) override {
    const int gave = Stream::get_packet(packet, now, next);
    recorder.asked(number, now, next, gave != 0, packet);
    return gave;
  }

 private:
  Recorder& recorder;
  const unsigned int number;
};

/// Does at random, but always the same, what owners do with their streams.
class RandomOwner {
 public:
  explicit RandomOwner(Recorder& recorder, const std::shared_ptr<VBRmuxer>& muxer) : muxer(muxer) {
    unsigned int number = 0;
    for (const unsigned int period : {200U, 200U, 500U, 10U})
      tables.push_back(std::make_unique<Recorded<SimpleTable>>(recorder, number++, muxer, number, period));
    for (const unsigned int rate : {0U, 12000U})
      queues.push_back(std::make_unique<Recorded<SectionQueue>>(recorder, number++, muxer, number, rate));
    for (const unsigned char counter : {16, 16, 5})
      carrousels.push_back(
          {std::make_unique<Recorded<TableCarrousel>>(recorder, number++, muxer, number, counter), {}});
  }

  void step() {
    switch (below(12)) {
      case 0:
      case 1:
        return replaceTable();
      case 2:
        return pick(tables).SetPeriod(below(20) == 0 ? 0 : 5 + below(2000));
      case 3:
        return below(3) == 0 ? pick(queues).clear_queue() : pick(queues).SetRate(below(100000));
      case 4:
      case 5:
        return pick(queues).queue_section(packets(below(5), 3), below(2) == 0 ? 0 : 1000 + below(200000));
      case 6:
        return below(4) == 0 ? muxer->SetBitrate(500 + below(20000)) : void(pick(tables).clear_packetized_table());
      case 7:
      case 8:
        return addSubtable();
      default:
        return changeSubtable();
    }
  }

 private:
  struct Carrousel {
    std::unique_ptr<TableCarrousel> stream;
    std::vector<SubTable*> subtables;
  };

  /// The same on every machine, as the standard's distributions are not.
  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(generator() % limit); }

  template <typename Stream>
  Stream& pick(const std::vector<std::unique_ptr<Stream>>& from) {
    return *from[below(static_cast<unsigned int>(from.size()))];
  }

  /// So many sections of up to so many packets each.
  std::string packets(unsigned int sections, unsigned int longest) {
    std::string all;
    for (; sections > 0; --sections)
      for (unsigned int i = 1 + below(longest); i > 0; --i) {
        std::string packet =
            makePacket(0x100, static_cast<unsigned char>(below(16)), static_cast<unsigned char>(below(256)));
        if (all.empty() || below(2) == 0) packet[1] = static_cast<char>(packet[1] | vantor::kPayloadUnitStart);
        all += packet;
      }
    return all;
  }

  void replaceTable() {
    std::string table = packets(below(4), 4);
    pick(tables).new_packetized_table(table);
  }

  void addSubtable() {
    Carrousel& carrousel = carrousels[below(3)];
    const FixedRandom phase(static_cast<long>(below(100000)));
    SubTable* added = nullptr;
    if (below(8) == 0) {
      added = carrousel.stream->new_packetized_subtable(20 + below(2000), &source);
    } else {
      std::string table = packets(below(6), 5);
      added = carrousel.stream->new_packetized_subtable(table, 20 + below(5000), 1);
    }
    if (added != nullptr) carrousel.subtables.push_back(added);
  }

  void changeSubtable() {
    Carrousel& carrousel = carrousels[below(3)];
    if (carrousel.subtables.empty()) return;
    const auto subtable =
        carrousel.subtables.begin() + below(static_cast<unsigned int>(carrousel.subtables.size()));
    std::string table = packets(1 + below(6), 5);
    if (below(2) == 0 && carrousel.subtables.size() < 12) {
      carrousel.stream->replace_packetized_subtable(*subtable, table, 1);
    } else {
      carrousel.stream->clear_packetized_subtable(*subtable);
      carrousel.subtables.erase(subtable);
    }
  }

  const std::shared_ptr<VBRmuxer> muxer;
  std::mt19937 generator{20261121};
  CountingSource source{0x1FFB, 0};
  std::vector<std::unique_ptr<SimpleTable>> tables;
  std::vector<std::unique_ptr<SectionQueue>> queues;
  std::vector<Carrousel> carrousels;
};

std::vector<std::uint64_t> recording() {
  std::ifstream file(SERVICEMUX_RECORDING);
  std::vector<std::uint64_t> digests;
  for (std::uint64_t digest = 0; file >> std::hex >> digest;) digests.push_back(digest);
  return digests;
}

void write(const char* path, const std::vector<std::uint64_t>& digests) {
  std::ofstream file(path);
  for (const std::uint64_t digest : digests) file << std::hex << digest << '\n';
}

}  // namespace

TEST(Classic, EveryPacketAndTimeOfTenThousandRandomStepsIsAsRecorded) {
  const RecordedLog log;
  const Watchdog watchdog;
  Sender sender;
  SimulatedTime time;
  Recorder recorder(time.start());
  const auto muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  RandomOwner owner(recorder, muxer);
  std::mt19937 pauses{7};
  nanoseconds at{0};
  for (int step = 1; step <= kSteps; ++step) {
    at += nanoseconds(pauses() % 60000000);
    time.at(at, [&, step] {
      owner.step();
      if (step % kStretch == 0) recorder.endStretch();
      if (step == kSteps) muxer->muxerStop();
    });
  }
  {
    // The ring is empty whenever the producer goes to sleep, so that it never depends on the other thread's pace.
    const WatchedThread consumer([&] { muxer->consumerRun(); });
    time.beforeEachWait([] { WatchedThread::awaitSleep(); });
    muxer->muxerRun();
  }
  ASSERT_GT(recorder.packets(), 50000U);
  EXPECT_EQ(muxer->statistics().packetsOverrun, 0U);
  if (const char* const path = std::getenv("RECORD")) write(path, recorder.digests());
  EXPECT_THAT(recorder.digests(), testing::ElementsAreArray(recording()));
}
