#include "tests/servicemux/standards/LimitJudge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/host.h"
#include "interface/psi/packet.h"
#include "tests/servicemux/standards/simulatedTime.h"

namespace {

using Rule = LimitJudge::Rule;

constexpr std::int64_t kMs = kMillisecond;
constexpr std::size_t kPayload = 184;

constexpr LimitJudge::Key kPat{0, 0x00, 7, 0, 0};
constexpr LimitJudge::Key kEit{0x12, 0x4F, 101, 2, 1};
constexpr LimitJudge::Key kEitOfAnother{0x12, 0x4F, 101, 3, 1};

std::string bigEndian(std::uint64_t value, int bytes) {
  std::string made;
  while (bytes-- > 0) made += static_cast<char>(value >> (8 * bytes));
  return made;
}

std::string withCrc(const std::string& section) { return section + bigEndian(crc32(section), 4); }

/// A section with the long header, of so many bytes.
std::string makeSection(const LimitJudge::Key& key, int version = 0, int number = 0, std::size_t size = 40) {
  std::string section =
      bigEndian(key.table_id, 1) + bigEndian(0xB000 | (size - 3), 2) + bigEndian(key.extension, 2);
  section +=
      bigEndian(0xC1 | static_cast<unsigned int>(version) << 1, 1) + bigEndian(number, 1) + bigEndian(number, 1);
  section += bigEndian(key.transport_stream_id, 2) + bigEndian(key.original_network_id, 2);
  section.resize(size - 4, '\x11');
  return withCrc(section);
}

/// Feeds a judge with packets whose counters are right, one in a datagram unless it is said otherwise.
class Judge : public testing::Test {
 protected:
  Judge() { judge.setCeiling(0, 1000); }

  std::vector<std::string> packetsOf(std::uint16_t pid, const std::string& section) {
    std::string payload = '\0' + section;
    std::vector<std::string> packets;
    for (unsigned int start = vantor::kPayloadUnitStart; !payload.empty(); start = 0) {
      std::string packet = bigEndian(0x47000010 | start << 16 | pid << 8 | counters[pid]++ % 16, 4);
      packet += payload.substr(0, kPayload);
      packet.resize(vantor::kPacketSize, '\xFF');
      packets.push_back(packet);
      payload.erase(0, kPayload);
    }
    return packets;
  }

  void send(std::int64_t time, const std::string& datagram) {
    judge.take(time, utcAtStart + time, datagram.data(), datagram.size());
  }

  /// A section whose packets leave a slot time apart.
  void send(std::int64_t time, std::uint16_t pid, const std::string& section) {
    for (const std::string& packet : packetsOf(pid, section)) {
      send(time, packet);
      time += 2 * kMs;
    }
  }
  void send(std::int64_t time, const LimitJudge::Key& key, int version = 0, int number = 0) {
    send(time, key.pid, makeSection(key, version, number));
  }

  void put(std::int64_t time, const LimitJudge::Key& key, std::int64_t period, int version = 0,
           unsigned int sections = 1, unsigned int packets = 1) {
    judge.put(time, {key, version, sections, packets, period});
  }

  /// What the judge has named, one word a fault.
  std::string named() const {
    std::string words;
    for (const auto& fault : judge.faults())
      words += (words.empty() ? "" : " ") + std::string(LimitJudge::name(fault.rule));
    return words;
  }

  std::int64_t utcAtStart = 1767225600 * kSecond;
  std::map<std::uint16_t, unsigned int> counters;
  LimitJudge judge{{}};
};

std::string timeSection(std::uint8_t table_id, std::int64_t second) {
  const std::int64_t day = second / 86400 + 40587;
  const auto bcd = [](std::int64_t value) { return static_cast<std::uint64_t>(value / 10 << 4 | value % 10); };
  std::string section =
      bigEndian(table_id, 1) + bigEndian(0x7005, 2) + bigEndian(static_cast<std::uint64_t>(day), 2);
  second %= 86400;
  return section + bigEndian(bcd(second / 3600), 1) + bigEndian(bcd(second / 60 % 60), 1) +
         bigEndian(bcd(second % 60), 1);
}

}  // namespace

// --- Arrival ----------------------------------------------------------------------------------------------------

TEST_F(Judge, ASectionThatComesInTimeIsFine) {
  put(0, kPat, 200 * kMs);
  for (std::int64_t i = 0; i < 100; ++i) send(i * 200 * kMs, kPat);
  judge.finish(20000 * kMs - 1);
  EXPECT_EQ(named(), "") << judge.report();
}

TEST_F(Judge, ASectionThatComesLateIsNamed) {
  put(0, kPat, 200 * kMs);
  send(0, kPat);
  send(200 * kMs + 1, kPat);
  EXPECT_EQ(named(), "arrival") << judge.report();
}

TEST_F(Judge, ASectionThatStaysAwayIsNamedOnceAPeriod) {
  put(0, kPat, 200 * kMs);
  put(0, kEit, kSecond);
  send(0, kPat);
  send(5 * kMs, kEit);
  send(900 * kMs, kEit);
  EXPECT_EQ(judge.count(Rule::kArrival), 1U) << judge.report();
  judge.finish(1101 * kMs);
  EXPECT_EQ(judge.count(Rule::kArrival), 2U);
}

TEST_F(Judge, ASectionOfSeveralCanStayAway) {
  put(0, kPat, 200 * kMs, 0, 2);
  for (std::int64_t i = 0; i < 3; ++i) send(i * 150 * kMs, kPat, 0, 0);
  EXPECT_EQ(named(), "arrival");
  EXPECT_THAT(judge.faults().front().what, testing::HasSubstr("section 1"));
}

TEST_F(Judge, AnotherVersionKeepsThePeriodOfEachSection) {
  put(0, kPat, 200 * kMs, 0, 2);
  send(0, kPat, 0, 0);
  send(100 * kMs, kPat, 0, 1);
  put(130 * kMs, kPat, 200 * kMs, 1, 2);
  send(130 * kMs, kPat, 1, 0);
  send(300 * kMs + 1, kPat, 1, 1);
  EXPECT_EQ(named(), "arrival");
}

TEST_F(Judge, AShorterPeriodCountsFromThePresent) {
  put(0, kPat, kSecond);
  send(0, kPat);
  put(600 * kMs, kPat, 200 * kMs);
  send(800 * kMs, kPat);
  EXPECT_EQ(named(), "");
  send(1001 * kMs, kPat);
  EXPECT_EQ(named(), "arrival");
}

TEST_F(Judge, WhatIsTakenOffAirNeedNotCome) {
  put(0, kPat, 200 * kMs);
  send(0, kPat);
  judge.remove(100 * kMs, kPat);
  judge.finish(kSecond);
  EXPECT_EQ(named(), "");
}

// --- Gap --------------------------------------------------------------------------------------------------------

TEST_F(Judge, TwentyFiveMillisecondsAreEnough) {
  put(0, kPat, 200 * kMs, 0, 2);
  send(0, kPat, 0, 0);
  send(25 * kMs, kPat, 0, 1);
  EXPECT_EQ(named(), "");
}

TEST_F(Judge, TheNextSectionTooEarlyIsNamed) {
  put(0, kPat, 200 * kMs, 0, 2);
  send(0, kPat, 0, 0);
  send(25 * kMs - 1, kPat, 0, 1);
  EXPECT_EQ(named(), "gap");
}

TEST_F(Judge, TheGapCountsFromTheEndOfASection) {
  put(0, kPat, 200 * kMs, 0, 1, 2);
  send(0, kPat.pid, makeSection(kPat, 0, 0, 300));  // its second packet 2 ms later
  send(26 * kMs, kPat);
  EXPECT_EQ(named(), "gap");
}

TEST_F(Judge, EventsOfAnotherStreamShareTheGap) {
  put(0, kEit, kSecond);
  put(0, kEitOfAnother, kSecond);
  send(0, kEit);
  send(10 * kMs, kEitOfAnother);
  EXPECT_EQ(named(), "gap");
}

TEST_F(Judge, AnotherTableOfThePidIsFreeToCome) {
  constexpr LimitJudge::Key kActual{0x12, 0x4E, 101, 2, 1};
  put(0, kEit, kSecond);
  put(0, kActual, kSecond);
  send(0, kEit);
  send(4 * kMs, kActual);
  EXPECT_EQ(named(), "");
}

// --- Counters and sections --------------------------------------------------------------------------------------

TEST_F(Judge, ACounterThatDoesNotFollowIsNamed) {
  put(0, kPat, kSecond);
  send(0, kPat);
  ++counters[0];
  send(100 * kMs, kPat);
  EXPECT_EQ(named(), "counter");
}

TEST_F(Judge, NullPacketsHaveNoCounter) {
  for (const std::uint8_t counter : {0, 0, 7}) {
    std::string packet = bigEndian(0x471FFF10U | counter, 4);
    packet.resize(vantor::kPacketSize, '\xFF');
    send(100 * kMs, packet);
  }
  EXPECT_EQ(named(), "");
}

TEST_F(Judge, ASectionThatIsCutByTheNextIsNamed) {
  put(0, kPat, kSecond, 0, 1, 2);
  send(0, packetsOf(0, makeSection(kPat, 0, 0, 300))[0]);
  counters[0] = 1;
  send(100 * kMs, kPat);
  EXPECT_EQ(named(), "section");
}

TEST_F(Judge, APacketThatBelongsToNoSectionIsNamed) {
  put(0, kPat, kSecond, 0, 1, 2);
  send(0, kPat);
  send(2 * kMs, packetsOf(0, makeSection(kPat, 0, 0, 300))[1]);
  EXPECT_EQ(judge.count(Rule::kSection), 1U);
}

TEST_F(Judge, ABrokenCrcIsNamed) {
  put(0, kPat, kSecond);
  std::string section = makeSection(kPat);
  section[9] ^= 1;
  send(0, 0, section);
  EXPECT_EQ(named(), "section");
}

TEST_F(Judge, MessagesMayStandBackToBackAndAreJudgedForWholenessOnly) {
  judge.sendOnce(0x22);
  const std::string message = bigEndian(0x823005, 3) + "12345";
  send(0, 0x22, message + message + message);
  send(kMs, 0x22, message);
  EXPECT_EQ(named(), "");
  send(3 * kMs, packetsOf(0x22, std::string(message).append(300, '\x82'))[0]);
  send(5 * kMs, 0x22, message);
  EXPECT_GE(judge.count(Rule::kSection), 1U);
}

TEST_F(Judge, WhatWasNeverPutOnAirIsNamed) {
  send(0, kPat);
  EXPECT_EQ(named(), "on air");
}

TEST_F(Judge, WhatIsOffAirAndWhatIsReplacedIsNamed) {
  put(0, kPat, kSecond);
  send(0, kPat);
  put(100 * kMs, kPat, kSecond, 1);
  send(100 * kMs, kPat, 0);
  EXPECT_EQ(named(), "on air");
  send(125 * kMs, kPat, 1);
  judge.remove(150 * kMs, kPat);
  send(200 * kMs, kPat, 1);
  EXPECT_EQ(named(), "on air on air");
}

// --- Rates ------------------------------------------------------------------------------------------------------

TEST_F(Judge, PacketsOfASlowPidThatCrowdAreNamed) {
  put(0, kPat, kSecond, 0, 1, 3);
  std::int64_t time = 0;
  for (const std::string& packet : packetsOf(0, makeSection(kPat, 0, 0, 500))) send(time += 1503000, packet);
  EXPECT_EQ(named(), "spread") << judge.report();
}

TEST_F(Judge, PacketsOfASlowPidAtOneMegabitAreFine) {
  put(0, kPat, kSecond, 0, 1, 3);
  std::int64_t time = 0;
  for (const std::string& packet : packetsOf(0, makeSection(kPat, 0, 0, 500))) send(time += 1504000, packet);
  EXPECT_EQ(named(), "");
}

TEST_F(Judge, AFastPidMayCrowd) {
  put(0, kPat, 25 * kMs, 0, 1, 23);  // 1.4 Mbit/s
  std::int64_t time = 0;
  for (const std::string& packet : packetsOf(0, makeSection(kPat, 0, 0, 500))) send(time += kMs, packet);
  EXPECT_EQ(judge.count(Rule::kSpread), 0U);
}

TEST_F(Judge, WithSlotTimeThePacketsOfADatagramStandApart) {
  LimitJudge::Allowances allowances;
  allowances.slotTime = true;
  for (const unsigned int ceiling : {900, 2000}) {
    LimitJudge lenient(allowances);
    lenient.setCeiling(0, ceiling);
    lenient.put(0, {kPat, 0, 1, 3, kSecond});
    std::string datagram;
    for (const std::string& packet : packetsOf(0, makeSection(kPat, 0, 0, 500))) datagram += packet;
    lenient.take(0, 0, datagram.data(), datagram.size());
    EXPECT_EQ(lenient.count(Rule::kSpread), ceiling > 1000 ? 1U : 0U);
  }
}

TEST_F(Judge, WithSlotTimePacketsOfTwoDatagramsStandAsFarApartAsThese) {
  LimitJudge::Allowances allowances;
  allowances.slotTime = true;
  for (const std::int64_t apart : {3, 4}) {
    LimitJudge lenient(allowances);
    lenient.setCeiling(0, 1000);
    lenient.put(0, {kPat, 0, 1, 3, kSecond});
    const auto packets = packetsOf(0, makeSection(kPat, 0, 0, 500));
    std::string nulls = bigEndian(0x471FFF10U, 4);
    nulls.resize(5 * vantor::kPacketSize, '\xFF');
    const std::string datagram = nulls + packets[0] + packets[1];
    lenient.take(0, 0, datagram.data(), datagram.size());
    lenient.take(apart * kMs, 0, packets[2].data(), packets[2].size());
    EXPECT_EQ(lenient.count(Rule::kSpread), apart == 3 ? 1U : 0U);
  }
}

TEST_F(Judge, ASecondAboveTheCeilingIsNamedWhereverItBegins) {
  std::string packet = bigEndian(0x471FFF10U, 4);
  packet.resize(vantor::kPacketSize, '\xFF');
  judge.setCeiling(0, 15);  // 9 packets
  for (std::int64_t i = 0; i < 9; ++i) send(500 * kMs + i * (50 * kMs), packet);
  EXPECT_EQ(named(), "");
  send(1500 * kMs - 1, packet);
  EXPECT_EQ(named(), "ceiling");
  send(1550 * kMs, packet);
  EXPECT_EQ(named(), "ceiling");
}

TEST_F(Judge, AnotherCeilingCountsFromThePresent) {
  std::string packet = bigEndian(0x471FFF10U, 4);
  packet.resize(vantor::kPacketSize, '\xFF');
  judge.setCeiling(0, 16);  // 10 packets
  judge.setCeiling(500 * kMs, 32);
  for (std::int64_t i = 0; i < 16; ++i) send(kSecond, packet);  // one across both
  EXPECT_EQ(named(), "");
  send(kSecond, packet);
  EXPECT_EQ(named(), "ceiling");
}

// --- Changes ----------------------------------------------------------------------------------------------------

TEST_F(Judge, AChangeThatLeavesSoonIsFine) {
  put(100 * kMs, kPat, kSecond);
  send(125 * kMs, kPat);
  put(900 * kMs, kPat, kSecond, 1);
  send(925 * kMs, kPat, 1);
  EXPECT_EQ(named(), "");
}

TEST_F(Judge, AChangeThatDoesNotLeaveSoonIsNamed) {
  put(0, kPat, kSecond);
  send(0, kPat);
  put(100 * kMs, kPat, kSecond, 1);
  send(125 * kMs + 1, kPat, 1);
  EXPECT_EQ(named(), "change");
}

TEST_F(Judge, AChangeMayWaitForTheSectionUnderWay) {
  put(0, kEit, kSecond, 0, 1, 2);
  const auto packets = packetsOf(0x12, makeSection(kEit, 0, 0, 300));
  send(0, packets[0]);
  put(10 * kMs, kEitOfAnother, kSecond);
  send(60 * kMs, packets[1]);
  send(85 * kMs, kEitOfAnother);
  EXPECT_EQ(named(), "");
}

TEST_F(Judge, AChangeMayNotWaitForSectionsBehindIt) {
  constexpr LimitJudge::Key kThird{0x12, 0x4E, 5, 2, 1};
  put(0, kThird, kSecond, 0, 1, 2);
  send(0, kThird);
  put(100 * kMs, kEit, kSecond);
  const auto packets = packetsOf(0x12, makeSection(kThird, 0, 0, 300));
  send(110 * kMs, packets[0]);
  send(130 * kMs, packets[1]);
  send(140 * kMs, kEit);
  EXPECT_EQ(named(), "change");
}

TEST_F(Judge, ChangesOfOnePidMayWaitForEachOther) {
  put(0, kEit, kSecond);
  put(0, kEitOfAnother, kSecond);
  send(20 * kMs, kEit);
  send(45 * kMs, kEitOfAnother);
  EXPECT_EQ(named(), "");
}

// --- UTC --------------------------------------------------------------------------------------------------------

TEST_F(Judge, ATimeLeavesBehindItsSecond) {
  for (const std::uint8_t table_id : {0x70, 0x73}) {
    const LimitJudge::Key key{0x14, table_id, 0, 0, 0};
    put(0, key, kSecond, -1);
    std::string section = timeSection(table_id, 1767225601);
    if (table_id == 0x73) {
      section = section.substr(0, 1) + bigEndian(0x700B, 2) + section.substr(3) + bigEndian(0xF000, 2);
      section = withCrc(section);
    }
    send(table_id == 0x70 ? 1000 * kMs : 1099 * kMs, 0x14, section);
    EXPECT_EQ(named(), "") << judge.report();
  }
}

TEST_F(Judge, ATimeOfAnotherSecondIsNamed) {
  put(0, {0x14, 0x70, 0, 0, 0}, kSecond, -1);
  send(999 * kMs, 0x14, timeSection(0x70, 1767225601));
  EXPECT_EQ(named(), "utc");
  send(1101 * kMs, 0x14, timeSection(0x70, 1767225601));
  EXPECT_EQ(named(), "utc utc");
}

TEST_F(Judge, AnSttCountsFromTheGpsEpochWithLeapSeconds) {
  const LimitJudge::Key key{0x1FFB, 0xCD, 0, 0, 0};
  put(0, key, kSecond);
  std::string section = bigEndian(0xCDF011, 3) + bigEndian(0, 2) + bigEndian(0xC10000, 3) + bigEndian(0, 1);
  section += bigEndian(1767225601 - 315964800 + 18, 4) + bigEndian(18, 1) + bigEndian(0x6000, 2);
  send(1050 * kMs, 0x1FFB, withCrc(section));
  EXPECT_EQ(named(), "") << judge.report();
  send(1101 * kMs, 0x1FFB, withCrc(section));
  EXPECT_EQ(named(), "utc");
}

TEST_F(Judge, AJumpOfTheUtcClockGivesOneSecond) {
  put(0, {0x14, 0x70, 0, 0, 0}, kSecond, -1);
  send(1000 * kMs, 0x14, timeSection(0x70, 1767225601));
  judge.moveUtc(1900 * kMs);
  utcAtStart += 500 * kMs;
  send(2500 * kMs, 0x14, timeSection(0x70, 1767225603));
  EXPECT_EQ(named(), "");
}

// --- Means ------------------------------------------------------------------------------------------------------

TEST_F(Judge, ASectionThatComesTooOftenIsNamedAtTheEnd) {
  put(0, kPat, 200 * kMs);
  for (std::int64_t i = 0; i < 50; ++i) send(i * 179 * kMs, kPat);
  EXPECT_EQ(named(), "");
  judge.finish(8950 * kMs);
  EXPECT_EQ(named(), "interval");
}

TEST_F(Judge, AMeanOfNineTenthsIsEnough) {
  put(0, kPat, 200 * kMs);
  for (std::int64_t i = 0; i < 50; ++i) send(i * 181 * kMs, kPat);
  judge.finish(9050 * kMs);
  EXPECT_EQ(named(), "");
}

TEST_F(Judge, StretchedPeriodsHaveToBeAsLongAsIsStated) {
  put(0, kPat, 200 * kMs);
  judge.setStretch(0, 1.5);
  for (std::int64_t i = 0; i < 150; ++i) send(i * 305 * kMs, kPat);
  judge.finish(45750 * kMs);
  EXPECT_EQ(named(), "") << judge.report();
}

TEST_F(Judge, AnotherFactorThanTheStatedIsNamed) {
  put(0, kPat, 200 * kMs);
  judge.setStretch(0, 1.5);
  for (std::int64_t i = 0; i < 150; ++i) send(i * 293 * kMs, kPat);
  judge.finish(43950 * kMs);
  EXPECT_EQ(named(), "stretch");
}

TEST_F(Judge, ASectionThatIsStarvedIsNamed) {
  put(0, kPat, 200 * kMs);
  judge.setStretch(0, 1.5);
  send(0, kPat);
  send(934 * kMs, kPat);
  EXPECT_EQ(named(), "") << "900 ms, and 34 that 23 packets take";
  send(1869 * kMs, kPat);
  EXPECT_EQ(named(), "arrival");
}

// --- Watching ---------------------------------------------------------------------------------------------------

TEST_F(Judge, WhileItDoesNotWatchOnlyCountersCount) {
  put(0, kPat, 200 * kMs);
  judge.watch(0, false);
  send(kSecond, kPat);
  send(1001 * kMs, kPat);
  EXPECT_EQ(named(), "");
  ++counters[0];
  send(1002 * kMs, kPat);
  EXPECT_EQ(named(), "counter");
  judge.watch(2 * kSecond, true);
  send(2200 * kMs, kPat);
  EXPECT_EQ(named(), "counter");
  judge.finish(2401 * kMs);
  EXPECT_EQ(named(), "counter arrival");
}
