#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/exceptions.hpp>

#include "servicemux/access/ConditionalAccess.h"
#include "tests/servicemux/doubles/FakeOutput.h"
#include "tests/servicemux/doubles/HeldLocks.h"
#include "tests/servicemux/doubles/MutexCreation.h"
#include "tests/servicemux/doubles/StreamCalls.h"
#include "tests/servicemux/front/Intake.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using vantor::kPacketSize;
using vantor::serviceMux;
using vantor::thrift::general::ScramblerConfig;
using vantor::thrift::general::simulCryptData;
using vantor::thrift::simulcrypt::ECMItem;
using vantor::thrift::simulcrypt::EMMItem;

using PidLists = std::map<std::int32_t, std::vector<std::int32_t>>;

constexpr unsigned short kEcmPid = 0x21;
constexpr unsigned short kEmmPid = 0x22;
constexpr int kSections = 0;
constexpr int kPackets = 1;

ScramblerConfig makeConfig(int type, bool enabled = true) {
  ScramblerConfig config;
  config.enabled = enabled;
  config.scrambler_type = type;
  return config;
}

ScramblerConfig makeSimulcrypt(const PidLists& ecmPids, const PidLists& emmPids) {
  ScramblerConfig config = makeConfig(3);
  config.ecm_pids = ecmPids;
  config.emm_pids = emmPids;
  return config;
}

simulCryptData makeMessage(int format, const std::string& data) {
  simulCryptData message;
  message.format = format;
  message.data = data;
  return message;
}

ECMItem makeEcm(int pid, int format, const std::string& data, int period = 0) {
  ECMItem ecm;
  ecm.pid = pid;
  ecm.format = format;
  ecm.data = data;
  ecm.period = static_cast<std::int16_t>(period);
  return ecm;
}

EMMItem makeEmm(int pid, int format, const std::string& data) {
  EMMItem emm;
  emm.pid = pid;
  emm.format = format;
  emm.data = data;
  return emm;
}

/// A CA section of so many bytes altogether, all of them `fill` behind its length.
std::string makeSection(std::size_t size, char fill, int tableId = 0x80) {
  std::string section(size, fill);
  section[0] = static_cast<char>(tableId);
  section[1] = static_cast<char>(0x70 | (size - 3) >> 8);
  section[2] = static_cast<char>((size - 3) & 0xFF);
  return section;
}

class ConditionalAccess : public Intake {
 protected:
  void configure(const ScramblerConfig& config) {
    mux.setDRMConfig(config);
    lines();
  }

  /// The PIDs of the CA messages that are on air, by their kind.
  std::vector<std::string> messages() const {
    std::vector<std::string> found;
    for (const auto& table : mux.tablesOnAir()) found.push_back(table.name + " " + std::to_string(table.pid));
    return found;
  }

  char lastFill = 'a';

  unsigned int periodOn(unsigned short pid) const {
    for (const auto& table : mux.tablesOnAir())
      if (table.pid == pid) return table.period;
    return 0;
  }

  /// Configures this type and lets an EMM begin to leave, so that its stream is among the messages.
  void configureWithEmm(int type) {
    configure(type == 0 ? makeConfig(0) : makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
    const std::string section = makeSection(50, ++lastFill);  // unlike those of other rounds
    if (type == 0)
      mux.setEMM(makeMessage(kSections, section));
    else
      mux.setLiveEMM(makeEmm(0x200, kSections, section));
    ASSERT_TRUE(isSent(type == 0 ? kEmmPid : 0x200, section));
    ASSERT_THAT(messages(), ElementsAre(type == 0 ? "EMM 34" : "EMM 512"));
  }

  /// Waits for a packet of the PID whose payload begins so, behind the pointer_field if there is one.
  bool isSent(unsigned short pid, const std::string& payload) {
    return sender.await([&](const std::string& packet) {
      return pidOf(packet) == pid &&
             packet.compare(startsPayloadUnit(packet) ? 5 : 4, payload.size(), payload) == 0;
    });
  }
};

std::string pack(unsigned short pid, const std::string& sections) {
  std::string packets;
  serviceMux::packetizeCASection(pid, 0, packets, sections);
  return packets;
}

}  // namespace

// Packets

TEST(CAPackets, SectionOf183BytesFillsOnePacket) {
  const std::string section = makeSection(183, 's');
  EXPECT_EQ(pack(0x1FFE, section), std::string("\x47\x5F\xFE\x10\x00", 5) + section);
}

TEST(CAPackets, SectionOf184BytesTakesTwo) {
  const std::string section = makeSection(184, 's');
  EXPECT_EQ(pack(0x21, section), std::string("\x47\x40\x21\x10\x00", 5) + section.substr(0, 183) +
                                     std::string("\x47\x00\x21\x11", 4) + "s" + std::string(183, '\xFF'));
}

TEST(CAPackets, SectionsFollowEachOtherBehindOnePointerField) {
  const std::string sections = makeSection(50, 'a') + makeSection(60, 'b');
  EXPECT_EQ(pack(0x21, sections),
            std::string("\x47\x40\x21\x10\x00", 5) + sections + std::string(kPacketSize - 5 - 110, '\xFF'));
}

TEST(CAPackets, NothingGivesOnePacketOfStuffing) {
  EXPECT_EQ(pack(0x22, ""), std::string("\x47\x40\x22\x10\x00", 5) + std::string(183, '\xFF'));
}

TEST(CAPackets, CounterGoesOnFromTheOneGivenAndTheResultIsTwoBehindTheLast) {
  std::string out = "x";
  EXPECT_EQ(serviceMux::packetizeCASection(0x21, 0x2E, out, makeSection(400, 's')), 2);
  ASSERT_EQ(out.size(), 1 + 3 * kPacketSize) << "what was there stays";
  EXPECT_EQ(counterOf(out.substr(1, kPacketSize)), 14);
  EXPECT_EQ(counterOf(out.substr(1 + kPacketSize, kPacketSize)), 15);
  EXPECT_EQ(counterOf(out.substr(1 + 2 * kPacketSize, kPacketSize)), 0);
}

TEST(CAPackets, PidifyRepeatsTheFirstPacketUnderThePid) {
  std::string first = makePacket(0x123, 7, 'a');
  first[1] = static_cast<char>(0xE1);  // error indicator, payload unit start and priority stay
  std::string out;
  EXPECT_EQ(serviceMux::pidifyTSPackets(0x1ABC, out, first + makePacket(0x123, 8, 'b')), 8);
  std::string expected = first;
  expected[1] = static_cast<char>(0xFA);
  expected[2] = static_cast<char>(0xBC);
  EXPECT_EQ(out, expected + expected);
}

TEST(CAPackets, PidifyCountsItsPlaceIn16Bits) {
  constexpr std::size_t kCount = 350;
  std::string in;
  for (std::size_t i = 0; i < kCount; ++i) in += makePacket(0x123, 0, 'a');
  std::string out;
  serviceMux::pidifyTSPackets(0x1ABC, out, in);
  ASSERT_EQ(out.size(), kCount * kPacketSize);
  EXPECT_EQ(pidOf(out.substr(348 * kPacketSize, kPacketSize)), 0x1ABC);
  EXPECT_EQ(pidOf(out.substr(349 * kPacketSize, kPacketSize)), 0x123) << "its place is 65612, taken as 76";
  EXPECT_EQ(byteAt(out, 77), ('a' & 0xE0) | 0x1A);
  EXPECT_EQ(byteAt(out, 78), 0xBC);
}

// Configuration

TEST_F(ConditionalAccess, NothingIsCarriedUntilItIsConfigured) {
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  mux.setEMM(makeMessage(kSections, makeSection(50, 'e')));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  mux.setLiveEMM(makeEmm(0x100, kSections, makeSection(50, 'e')));
  EXPECT_THAT(lines(), ElementsAre("7 [setECM]", "7 [setEMM]", "7 [setLiveECM]", "7 [setLiveEMM]"));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ConditionalAccess, Type0OpensTheFixedPids) {
  mux.setDRMConfig(makeConfig(0));
  EXPECT_THAT(lines(), ElementsAre("4 [setDRMConfig]", "5 Vesk DRM ECM PID enabled", "5 Vesk DRM EMM PID enabled"));
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  mux.setEMM(makeMessage(kSections, makeSection(50, 'm')));
  EXPECT_TRUE(isSent(kEcmPid, makeSection(50, 'e')));
  EXPECT_TRUE(isSent(kEmmPid, makeSection(50, 'm')));
  EXPECT_EQ(periodOn(kEcmPid), 100U);
}

TEST_F(ConditionalAccess, Type3OpensEachListedPidOnceInTheOrderOfTheIdentifiers) {
  mux.setDRMConfig(makeSimulcrypt({{5, {0x100, 0x101}}, {2, {0x101}}}, {{1, {0x200, 0x200}}}));
  EXPECT_THAT(lines(), ElementsAre("4 [setDRMConfig]", "4 [setDRMConfig] Init ECM insertion for usid[0x0002]",
                                   "4 [setDRMConfig] Init ECM insertion for PID[0x0101]",
                                   "4 [setDRMConfig] Init ECM insertion for usid[0x0005]",
                                   "4 [setDRMConfig] Init ECM insertion for PID[0x0100]",
                                   "4 [setDRMConfig] Init EMM insertion for usid[0x0001]",
                                   "4 [setDRMConfig] Init EMM insertion for PID[0x0200]"));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  mux.setLiveECM(makeEcm(0x101, kSections, makeSection(50, 'f')));
  EXPECT_THAT(messages(), ElementsAre("ECM 256", "ECM 257"));
}

TEST_F(ConditionalAccess, EmptyPidListsAreReportedAndAccepted) {
  mux.setDRMConfig(makeSimulcrypt({}, {}));
  EXPECT_THAT(lines(), ElementsAre("4 [setDRMConfig]", "3 [setDRMConfig] Empty ECM PID list!",
                                   "3 [setDRMConfig] Empty EMM PID list!"));
}

TEST_F(ConditionalAccess, PidsAreTakenByTheirLow16Bits) {
  mux.setDRMConfig(makeSimulcrypt({{1, {0x10100, 0x100}}}, {{1, {0x200}}}));
  EXPECT_THAT(lines(), Contains("4 [setDRMConfig] Init ECM insertion for PID[0x10100]"));
  mux.setLiveECM(makeEcm(0x20100, kSections, makeSection(50, 'e')));
  EXPECT_THAT(messages(), ElementsAre("ECM 256"));
  lines();
  mux.setLiveECM(makeEcm(0x20101, kSections, makeSection(50, 'e')));
  mux.setLiveEMM(makeEmm(0x20101, kSections, makeSection(50, 'e')));
  EXPECT_THAT(lines(), ElementsAre("7 [setLiveECM]", "3 [setLiveECM] ECM PID not found [0x20101]!",
                                   "7 [setLiveEMM]", "3 [setLiveEMM] EMM PID not found [0x20101]!"));
}

TEST_F(ConditionalAccess, DisabledConfigurationRemovesTheFixedStreams) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  ASSERT_TRUE(isSent(kEcmPid, makeSection(50, 'e')));
  lines();
  mux.setDRMConfig(makeConfig(0, false));
  EXPECT_THAT(lines(), ElementsAre("4 [setDRMConfig]"));
  EXPECT_THAT(messages(), IsEmpty());
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ConditionalAccess, SwitchingTypesReplacesAllStreams) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  configure(makeConfig(0));
  EXPECT_THAT(messages(), IsEmpty());
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  EXPECT_THAT(messages(), ElementsAre("ECM 33"));
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  EXPECT_THAT(messages(), IsEmpty());
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  mux.setEMM(makeMessage(kSections, makeSection(50, 'e')));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ConditionalAccess, TypesThatCarryNothingRemoveWhatWasThere) {
  for (const int type : {1, 2, 4, -1}) {
    configure(makeConfig(0));
    mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
    EXPECT_THAT(messages(), ElementsAre("ECM 33"));
    lines();
    mux.setDRMConfig(makeConfig(type));
    EXPECT_THAT(lines(), ElementsAre("4 [setDRMConfig]"));
    EXPECT_THAT(messages(), IsEmpty()) << type;
  }
}

TEST_F(ConditionalAccess, EmmStreamsGoWithTheirConfiguration) {
  for (const int type : {0, 3}) {
    for (const auto& next : {makeConfig(type, false), makeConfig(1), makeConfig(3 - type)}) {
      configureWithEmm(type);
      mux.setDRMConfig(next);
      EXPECT_THAT(messages(), IsEmpty()) << type << " to " << next.scrambler_type;
    }
  }
}

TEST_F(ConditionalAccess, EmmStreamsGoWithAllTables) {
  for (const int type : {0, 3}) {
    configureWithEmm(type);
    mux.clearAllTables();
    EXPECT_THAT(messages(), IsEmpty()) << type;
  }
}

TEST_F(ConditionalAccess, SameConfigurationAgainSilencesTheEcm) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  configure(makeConfig(0));
  EXPECT_THAT(messages(), IsEmpty());
}

// Messages on the fixed PIDs

TEST_F(ConditionalAccess, NewEcmTakesOver) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'a')));
  ASSERT_TRUE(isSent(kEcmPid, makeSection(50, 'a')));
  mux.setECM(makeMessage(kSections, makeSection(50, 'b')));
  EXPECT_TRUE(isSent(kEcmPid, makeSection(50, 'b')));
  EXPECT_THAT(messages(), ElementsAre("ECM 33"));
}

TEST_F(ConditionalAccess, EcmPacketsKeepTheirPid) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kPackets, makePacket(0x123, 0, 'e')));
  EXPECT_THAT(lines(), ElementsAre("7 [setECM]", "6 Vesk ECM in TS format"));
  EXPECT_TRUE(isSent(0x123, "eee"));
}

TEST_F(ConditionalAccess, EmmPacketsKeepTheirPidWithoutAWord) {
  configure(makeConfig(0));
  mux.setEMM(makeMessage(kPackets, makePacket(0x123, 0, 'e')));
  EXPECT_THAT(lines(), ElementsAre("7 [setEMM]"));
  EXPECT_TRUE(isSent(0x123, "eee"));
}

TEST_F(ConditionalAccess, RefusedFixedMessagesLeaveTheEcmOnAir) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'a')));
  lines();
  mux.setECM(makeMessage(kPackets, std::string(200, 'x')));
  mux.setEMM(makeMessage(kPackets, std::string(200, 'x')));
  mux.setECM(makeMessage(2, makeSection(50, 'b')));
  mux.setEMM(makeMessage(7, makeSection(50, 'b')));
  mux.setECM(makeMessage(kSections, ""));
  mux.setEMM(makeMessage(kPackets, ""));
  EXPECT_THAT(lines(), ElementsAre("7 [setECM]", "3 Vesk ECM in TS packet format cannot have a size of 200",
                                   "7 [setEMM]", "3 Vesk EMM in TS packet format cannot have a size of 200",
                                   "7 [setECM]", "3 Vesk ECM format 2 not supported", "7 [setEMM]",
                                   "3 Vesk EMM format 7 not supported", "7 [setECM]", "7 [setEMM]"));
  sender.clear();
  EXPECT_TRUE(isSent(kEcmPid, makeSection(50, 'a')));
  EXPECT_THAT(messages(), ElementsAre("ECM 33"));
}

TEST_F(ConditionalAccess, EmptyEmmOfSectionsIsOnePacketOfStuffing) {
  configure(makeConfig(0));
  mux.setEMM(makeMessage(kSections, ""));
  EXPECT_TRUE(isSent(kEmmPid, std::string(183, '\xFF')));
}

TEST_F(ConditionalAccess, EachEmmIsSentOnceAndInOrder) {
  configure(makeConfig(0));
  mux.setEMM(makeMessage(kSections, makeSection(183, 'a')));
  mux.setEMM(makeMessage(kSections, makeSection(183, 'b')));
  mux.setEMM(makeMessage(kSections, makeSection(183, 'c')));
  ASSERT_TRUE(isSent(kEmmPid, makeSection(183, 'c')));
  std::string order;
  for (const auto& packet : sender.packets())
    if (pidOf(packet) == kEmmPid) order += packet.back();
  EXPECT_EQ(order, "abc");
}

TEST_F(ConditionalAccess, EmmsAreSpreadOverHalfASecond) {
  StreamCalls calls;
  configure(makeConfig(0));
  mux.setEMM(makeMessage(kSections, ""));
  mux.setEMM(makeMessage(kSections, makeSection(184, 'm')));
  mux.setEMM(makeMessage(kPackets, makePacket(kEmmPid, 0) + makePacket(kEmmPid, 1) + makePacket(kEmmPid, 2)));
  EXPECT_THAT(calls.take(), ElementsAre("queue 188b 3008bps", "queue 376b 6016bps", "queue 564b 9024bps"));
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveEMM(makeEmm(0x200, kSections, makeSection(184, 'm')));
  mux.setLiveEMM(makeEmm(0x200, kPackets, makePacket(0x200, 0)));
  EXPECT_THAT(calls.take(), ElementsAre("queue 376b 6016bps", "queue 188b 3008bps"));
}

TEST_F(ConditionalAccess, ClearedFixedStreamsComeBackWithTheNextConfiguration) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'a')));
  lines();
  mux.clearECM();
  mux.clearEMM();
  mux.clearECM();
  mux.clearEMM();
  EXPECT_THAT(lines(), ElementsAre("7 [clearECM]", "4 Vesk DRM ECM PID disabled", "7 [clearEMM]",
                                   "4 Vesk DRM EMM PID disabled", "7 [clearECM]", "7 [clearEMM]"));
  mux.setECM(makeMessage(kSections, makeSection(50, 'a')));
  EXPECT_THAT(messages(), IsEmpty());
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'a')));
  EXPECT_THAT(messages(), ElementsAre("ECM 33"));
}

// Live messages

TEST_F(ConditionalAccess, LiveSectionsLeaveThePeriodAlone) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e'), 700));
  EXPECT_EQ(periodOn(0x100), 100U);
  EXPECT_TRUE(isSent(0x100, makeSection(50, 'e')));
}

TEST_F(ConditionalAccess, LivePacketsBringTheirPeriod) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kPackets, makePacket(0, 0, 'e'), 700));
  EXPECT_EQ(periodOn(0x100), 700U);
  mux.setLiveECM(makeEcm(0x100, kPackets, makePacket(0, 0, 'f')));
  EXPECT_EQ(periodOn(0x100), 250U);
  EXPECT_TRUE(isSent(0x100, "fff"));
  mux.setLiveECM(makeEcm(0x100, kPackets, makePacket(0, 0, 'f'), -2));
  EXPECT_EQ(periodOn(0x100), 0xFFFFFFFEU) << "widened with its sign";
}

TEST_F(ConditionalAccess, LivePacketsAreCopiesOfTheFirstUnderTheirPid) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kPackets, makePacket(5, 0, 'a') + makePacket(5, 1, 'b'), 25));
  ASSERT_EQ(mux.tablesOnAir().at(0).packets, 2U);
  mux.setLiveEMM(makeEmm(0x200, kPackets, makePacket(5, 0, 'c') + makePacket(5, 1, 'd')));
  ASSERT_TRUE(
      sender.await([](const std::string& packet) { return pidOf(packet) == 0x100 && counterOf(packet) == 3; }));
  ASSERT_TRUE(
      sender.await([](const std::string& packet) { return pidOf(packet) == 0x200 && counterOf(packet) == 1; }));
  std::string fills;
  for (const auto& packet : sender.packets()) fills += packet.back();
  EXPECT_THAT(fills, Not(Contains('b')));
  EXPECT_THAT(fills, Not(Contains('d')));
}

TEST_F(ConditionalAccess, EcmStopLeavesTheLastEcmOnAir) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  lines();
  mux.setLiveECM(makeEcm(0x100, kSections, ""));
  mux.setLiveEMM(makeEmm(0x200, kSections, ""));
  EXPECT_THAT(lines(), ElementsAre("7 [setLiveECM]", "4 [setLiveECM] ECM stop received for PID[0x0100]!",
                                   "7 [setLiveEMM]", "4 [setLiveEMM] empty EMM received!"));
  sender.clear();
  EXPECT_TRUE(isSent(0x100, makeSection(50, 'e')));
}

TEST_F(ConditionalAccess, EmptyLiveMessagesAreReportedWithEveryType) {
  configure(makeConfig(0));
  mux.setLiveECM(makeEcm(0x100, kSections, ""));
  mux.setLiveEMM(makeEmm(0x200, kSections, ""));
  mux.setLiveECM(makeEcm(0x100, kSections, "x"));
  mux.setLiveEMM(makeEmm(0x200, kSections, "x"));
  EXPECT_THAT(lines(),
              ElementsAre("7 [setLiveECM]", "4 [setLiveECM] ECM stop received for PID[0x0100]!", "7 [setLiveEMM]",
                          "4 [setLiveEMM] empty EMM received!", "7 [setLiveECM]", "7 [setLiveEMM]"));
}

TEST_F(ConditionalAccess, RefusedLiveMessagesLeaveTheEcmOnAir) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  lines();
  mux.setLiveECM(makeEcm(0x100, kPackets, std::string(200, 'x'), 700));
  mux.setLiveEMM(makeEmm(0x200, kPackets, std::string(200, 'x')));
  mux.setLiveECM(makeEcm(0x100, 2, "x"));
  mux.setLiveEMM(makeEmm(0x200, 2, "x"));
  mux.setLiveECM(makeEcm(0x200, kSections, "x"));
  mux.setLiveEMM(makeEmm(0x100, kSections, "x"));
  EXPECT_THAT(lines(),
              ElementsAre("7 [setLiveECM]", "3 [setLiveECM] ECM in TS packet format cannot have a size of 200",
                          "7 [setLiveEMM]", "3 [setLiveEMM] EMM in TS packet format cannot have a size of 200",
                          "7 [setLiveECM]", "3 [setLiveECM] EMM format [2] not supported", "7 [setLiveEMM]",
                          "3 [setLiveEMM] EMM format [2] not supported", "7 [setLiveECM]",
                          "3 [setLiveECM] ECM PID not found [0x0200]!", "7 [setLiveEMM]",
                          "3 [setLiveEMM] EMM PID not found [0x0100]!"));
  EXPECT_EQ(periodOn(0x100), 100U);
  sender.clear();
  EXPECT_TRUE(isSent(0x100, makeSection(50, 'e')));
}

TEST_F(ConditionalAccess, PidsWhoseStreamCouldNotBeMadeArePassedOver) {
  const auto failing = [this](const PidLists& ecmPids, const PidLists& emmPids) {
    const MutexCreation creation(0);
    EXPECT_THROW(mux.setDRMConfig(makeSimulcrypt(ecmPids, emmPids)), boost::thread_resource_error);
    lines();
  };
  failing({{1, {0x100}}}, {{1, {0x200}}});
  mux.setLiveECM(makeEcm(0x100, kPackets, std::string(kPacketSize, 'x'), 700));
  EXPECT_THAT(lines(), ElementsAre("7 [setLiveECM]"));
  failing({}, {{1, {0x200}}});
  mux.setLiveEMM(makeEmm(0x200, kSections, makeSection(50, 'e')));
  EXPECT_THAT(lines(), ElementsAre("7 [setLiveEMM]"));
  EXPECT_THAT(messages(), IsEmpty());
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  EXPECT_TRUE(isSent(0x100, makeSection(50, 'e')));
}

TEST_F(ConditionalAccess, ClearedLiveStreamsAreNotFoundAnyMore) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  lines();
  mux.clearLiveECMs();
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  mux.clearLiveEMMs();
  mux.setLiveEMM(makeEmm(0x200, kSections, makeSection(50, 'e')));
  EXPECT_THAT(lines(),
              ElementsAre("4 [clearLiveECMs]", "7 [setLiveECM]", "3 [setLiveECM] ECM PID not found [0x0100]!",
                          "4 [clearLiveEMMs]", "7 [setLiveEMM]", "3 [setLiveEMM] EMM PID not found [0x0200]!"));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ConditionalAccess, EmmsStillWaitingGoWithTheirStream) {
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveEMM(makeEmm(0x200, kSections, makeSection(183, 'a')));
  for (int i = 0; i < 1000; ++i) mux.setLiveEMM(makeEmm(0x200, kSections, makeSection(183, 'b')));
  ASSERT_TRUE(isSent(0x200, makeSection(183, 'a')));
  mux.clearLiveEMMs();
  sender.clear();  // what was in the ring may still come, but not a thousand
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveEMM(makeEmm(0x200, kSections, makeSection(183, 'c')));
  ASSERT_TRUE(isSent(0x200, makeSection(183, 'c')));
  EXPECT_LE(sender.packets().size(), 129U);
}

TEST_F(ConditionalAccess, ClearAllTablesRemovesEveryStream) {
  configure(makeConfig(0));
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  lines();
  mux.clearAllTables();
  EXPECT_THAT(lines(), ElementsAre("7 [clearAllTables]", "4 [clearLiveECMs]", "4 [clearLiveEMMs]"));
  EXPECT_THAT(messages(), IsEmpty());
  mux.setECM(makeMessage(kSections, makeSection(50, 'e')));
  EXPECT_THAT(messages(), IsEmpty());
  configure(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  mux.setLiveECM(makeEcm(0x100, kSections, makeSection(50, 'e')));
  mux.clearAllTables();
  EXPECT_THAT(messages(), IsEmpty());
}

// Locks

TEST(ConditionalAccessLocks, StreamsOnTheFixedPidsAreUsedUnderTheCALock) {
  const RecordedLog log;
  FakeOutput output;
  vantor::ConditionalAccess access(&output);
  std::vector<vantor::TableOnAir> tables;
  access.setDRMConfig(makeConfig(0));
  HeldLocks::Held ca;
  {
    HeldLocks locks(&access, sizeof access);
    access.setECM(makeMessage(kSections, makeSection(20, 'e')));
    ASSERT_EQ(locks.own.size(), 1U);
    ca = {locks.own[0]};
    EXPECT_THAT(locks.heldElsewhere, ElementsAre(ca));
  }
  const auto held = [&access](const auto& operation) {
    HeldLocks locks(&access, sizeof access);
    operation();
    return locks.heldElsewhere;
  };
  EXPECT_THAT(held([&] { access.setEMM(makeMessage(kSections, makeSection(20, 'm'))); }), ElementsAre(ca));
  EXPECT_THAT(held([&] { access.listOnAir(tables); }), ElementsAre(ca));
  EXPECT_THAT(held([&] { access.clearECM(); }), ElementsAre(ca));
  EXPECT_THAT(held([&] { access.clearEMM(); }), ElementsAre(ca));
  access.setDRMConfig(makeConfig(0));
  EXPECT_THAT(held([&] { access.dropFixedStreams(); }), ElementsAre(ca));
}

TEST(ConditionalAccessLocks, LiveStreamsAreUsedUnderTheirOwn) {
  const RecordedLog log;
  FakeOutput output;
  vantor::ConditionalAccess access(&output);
  const auto held = [&access](const auto& operation) {
    HeldLocks locks(&access, sizeof access);
    operation();
    return locks.heldElsewhere;
  };
  HeldLocks::Held ecm;
  HeldLocks::Held emm;
  {
    HeldLocks locks(&access, sizeof access);
    access.setDRMConfig(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
    ASSERT_EQ(locks.own.size(), 3U);
    const auto& own = locks.own;  // the CA lock, that of the ECMs, that of the EMMs
    ecm = {own[0], own[1]};
    emm = {own[0], own[2]};
    EXPECT_THAT(locks.heldElsewhere, ElementsAre(ecm, emm));
  }
  EXPECT_THAT(held([&] { access.setLiveECM(makeEcm(0x100, kSections, "e")); }), ElementsAre(ecm));
  EXPECT_THAT(held([&] { access.setLiveEMM(makeEmm(0x200, kSections, "m")); }), ElementsAre(emm));
  EXPECT_THAT(held([&] { access.setDRMConfig(makeConfig(3, false)); }), ElementsAre(ecm, emm));
  access.setDRMConfig(makeSimulcrypt({{1, {0x100}}}, {{1, {0x200}}}));
  EXPECT_THAT(held([&] { access.clearLiveECMs(); }), ElementsAre(emm)) << "that of the EMMs for both";
  EXPECT_THAT(held([&] { access.clearLiveEMMs(); }), ElementsAre(emm));
}
