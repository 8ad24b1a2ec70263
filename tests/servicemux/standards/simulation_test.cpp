#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "interface/host.h"
#include "tests/interface/RecordedLog.h"
#include "tests/sanitized.h"
#include "tests/servicemux/doubles/SimulatedThreads.h"
#include "tests/servicemux/standards/LimitJudge.h"
#include "tests/servicemux/standards/RandomMultiplex.h"
#include "tests/servicemux/standards/simulatedTime.h"

/// Whole multiplexes with all their threads in simulated time, while their tables, ceilings and clocks change at
/// random: a judge looks at every packet. Twenty-four sets of an hour each, twelve with whole sections, and some
/// that stay or are too much; a failure names its seed.

namespace {

constexpr std::int64_t kMinutes = SANITIZED ? 5 : 60;  // a sanitizer takes ten times as long

using vantor::TimingProfile;

constexpr std::int64_t kHour = kMinutes * 60 * kSecond;

/// Takes the datagrams to the judge, and tells it by how much the output says that it stretches its periods.
class JudgedSink final : public vantor::DatagramSink {
 public:
  JudgedSink(SimulatedThreads& simulation, LimitJudge& judge) : simulation(simulation), judge(judge) {}

  ssize_t send(const void* datagram, std::size_t size) override {
    judge.take(simulation.now(), simulation.utc(), datagram, size);
    return static_cast<ssize_t>(size);
  }

 private:
  SimulatedThreads& simulation;
  LimitJudge& judge;
};

/// What is granted while tables and ceilings change at random: what is put on air has its share of the slots that
/// others leave; a table that goes by the UTC second has two limits, and one that is sent early for a change, or
/// for a clock that jumps, has a lower mean.
LimitJudge::Allowances allowances() {
  LimitJudge::Allowances granted;
  granted.shortestMean = 0.86;
  granted.slotTime = true;
  granted.timeLateness = 100 * kMillisecond;  // the second and these are both within the limits
  granted.changeSlots = 2;
  return granted;
}

class Simulation : public testing::TestWithParam<unsigned int> {
 protected:
  explicit Simulation(const LimitJudge::Allowances& granted = allowances(), bool hasSections = false)
      : judge(granted), hasSections(hasSections) {}

  void SetUp() override { mux.setTimingProfile(TimingProfile::Standards); }

  void sleep(std::int64_t time) { simulation.sleepUntil(simulation.now() + time); }

  /// What was logged may not be an error.
  void readLog() {
    for (const auto& message : log.take()) EXPECT_GT(message.level, HOST_LOG_ERROR) << message.text;
  }

  const unsigned int seed = GetParam();
  RecordedLog log;
  SimulatedThreads simulation;
  LimitJudge judge;
  std::shared_ptr<JudgedSink> sink = std::make_shared<JudgedSink>(simulation, judge);
  const bool hasSections;
  vantor::serviceMux mux{"mux", sink, ""};
  RandomMultiplex owner{mux, judge, [this] { return simulation.now(); }, seed, seed % 2 == 1, hasSections};
};

class Day : public Simulation {
 protected:
  using Simulation::Simulation;

  void pass() {
    owner.start();
    while (simulation.now() < kHour) {
      sleep(static_cast<std::int64_t>(owner.below(16000000)) * 1000);
      step();
      readLog();
    }
    judge.finish(simulation.now());
    EXPECT_EQ(mux.statistics().stretch, 1);
    EXPECT_GT(judge.packets(), 1000U * kMinutes);
    EXPECT_EQ(judge.count(), 0U) << "seed " << seed << ": " << judge.report();
  }

  void step() {
    switch (owner.below(24)) {
      case 0:
        return owner.setLoad(0.1 + 0.01 * owner.below(71));
      case 1:
        return jump();
      case 2:
        return mux.setDatagramWait(owner.below(41));
      case 3:
        return visitClassic();
      case 4:
        return hasSections ? owner.change() : owner.changeGuide();
      default:
        for (unsigned int i = owner.below(5) == 0 ? 4 : 1; i > 0; --i) owner.change();
    }
  }

  /// Of the UTC clock, by less than a second or by hours, forth or back.
  void jump() {
    const std::int64_t range = owner.below(2) == 0 ? kSecond : 5 * kHour;
    const std::int64_t by = static_cast<std::int64_t>(owner.below(1000)) * (range / 500) - range;
    simulation.moveUtc(by);
    judge.moveUtc(simulation.now());
  }

  /// Another profile for a while. Where streams share a PID that one has a counter for each.
  void visitClassic() {
    if (seed % 2 == 1) return;
    mux.setTimingProfile(TimingProfile::Classic);
    judge.watch(simulation.now(), false);
    for (unsigned int i = owner.below(4); i > 0; --i) {
      sleep(owner.below(2000) * kMillisecond);
      owner.replace();
    }
    mux.setTimingProfile(TimingProfile::Standards);
    sleep(6 * kSecond);  // all tables are new, and take their time
    judge.watch(simulation.now(), true);
  }
};

/// Whole sections beside the tables of their PIDs, also while the profile changes. No guides: a clump more finds
/// less room now and then, which nobody promises.
class DayOfSections : public Day {
 protected:
  DayOfSections() : Day(allowances(), true) {}
};

/// Tables that stay as they are, at loads from 10 to 80 percent: nothing is granted.
class Still : public Simulation {
 protected:
  Still() : Simulation(strict()) {}

  static LimitJudge::Allowances strict() {
    LimitJudge::Allowances granted = allowances();
    granted.shortestMean = 0.9;
    return granted;
  }
};

/// More on air than the ceiling has room for.
class Overload : public Simulation {};

}  // namespace

TEST_P(Day, EveryLimitIsHeldInEveryPacket) { pass(); }

INSTANTIATE_TEST_SUITE_P(Hours, Day, testing::Range(1U, 25U));

TEST_P(DayOfSections, EveryLimitIsHeldInEveryPacket) { pass(); }

INSTANTIATE_TEST_SUITE_P(Hours, DayOfSections, testing::Range(601U, 613U));

TEST_P(Still, EveryLimitIsHeldInEveryPacket) {
  owner.start();
  const double load = 0.1 * (1 + seed % 8);
  owner.setLoad(load);
  judge.watch(simulation.now(), false);
  sleep(60 * kSecond);
  judge.watch(simulation.now(), true);
  sleep(kHour / 6);
  judge.finish(simulation.now());
  EXPECT_EQ(judge.count(), 0U) << "seed " << seed << ", load " << load << ", " << owner.ceiling()
                               << " kbit/s: " << judge.report();
}

INSTANTIATE_TEST_SUITE_P(Sets, Still, testing::Range(201U, 217U));

TEST_P(Still, NorDoesAGuideThatIsPutOnAirAndReplacedAllAtOnceBreakThem) {
  owner.start();
  const double load = 0.1 * (1 + seed % 8);
  owner.setLoad(load);
  judge.watch(simulation.now(), false);
  sleep(60 * kSecond);
  judge.watch(simulation.now(), true);
  for (int version = 0; version < 4; ++version) {
    owner.setGuide(version % 2 == 0 ? 60 : 1 + owner.below(150));  // sections of 22 packets, four and more of each
    sleep(60 * kSecond + owner.below(60000) * kMillisecond);
  }
  sleep(60 * kSecond);
  judge.finish(simulation.now());
  EXPECT_EQ(mux.statistics().stretch, 1);
  EXPECT_EQ(judge.count(), 0U) << "seed " << seed << ", load " << load << ", " << owner.ceiling()
                               << " kbit/s: " << judge.report();
}

TEST_P(Overload, AllPeriodsAreStretchedByTheFactorThatIsStated) {
  judge.watch(0, false);
  owner.start();
  owner.keepTables();
  const double load = 1.05 + 0.01 * owner.below(150);
  owner.setLoad(load);
  sleep(60 * kSecond);
  const double factor = mux.statistics().stretch;
  EXPECT_NEAR(mux.statistics().required, owner.required(), 0.02 * owner.required()) << "seed " << seed;
  EXPECT_NEAR(factor, owner.required() / owner.ceiling(), 0.05 * load) << "seed " << seed;
  judge.setStretch(simulation.now(), factor);
  judge.watch(simulation.now(), true);
  sleep(kHour);
  judge.finish(simulation.now());
  EXPECT_EQ(mux.statistics().stretch, factor) << "seed " << seed;
  EXPECT_EQ(judge.count(), 0U) << "seed " << seed << ", load " << load << ": " << judge.report();
}

INSTANTIATE_TEST_SUITE_P(Sets, Overload, testing::Range(101U, 109U));
