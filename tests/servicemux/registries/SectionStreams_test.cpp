#include "servicemux/registries/SectionStreams.h"

#include "servicemux/packetize/packetize.h"
#include "servicemux/streams/SimpleTable.h"
#include "tests/servicemux/front/wholeSections.h"
#include "tests/servicemux/registries/RegistryTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::SectionStreams;

class SectionStreamsTest : public RegistryTest {
 protected:
  void add(unsigned short pid, unsigned char table_id, unsigned short extension, int version = 1,
           const std::string& name = "", unsigned int period = 1000) {
    std::string packets;
    vantor::packetizeBytes(pid, 0, packets, makeWholeSection(table_id, extension, version));
    streams.newSections(pid, {table_id, extension, 0, 0}, packets, {name, period, 1, 32});
  }

  std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto& table : onAir(streams)) all.push_back(table.name + " v" + std::to_string(table.version));
    return all;
  }

  SectionStreams streams{&output};
};

}  // namespace

TEST_F(SectionStreamsTest, TablesAreToldApartByPidTableIdAndExtension) {
  add(0x11, 0x4A, 1);
  add(0x11, 0x4A, 2);
  add(0x11, 0x41, 1);
  add(0x12, 0x4A, 1);
  EXPECT_THAT(names(), ElementsAre("NIT other 1 v1", "BAT 1 v1", "BAT 2 v1", "BAT 1 v1"));
  add(0x11, 0x4A, 2, 2);
  EXPECT_THAT(names(), ElementsAre("NIT other 1 v1", "BAT 1 v1", "BAT 2 v2", "BAT 1 v1"));
}

TEST_F(SectionStreamsTest, EachIsLoggedAsAddedOrUpdated) {
  add(0x11, 0x4A, 500);
  add(0x11, 0x4A, 500, 2, "", 2000);
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out] Add sections BAT 500 on PID 0011 Size 1s/32b every 1000 ms",
                                          "5 [out] Update sections BAT 500 on PID 0011 Size 1s/32b every 2000 ms"));
}

TEST_F(SectionStreamsTest, NameAndPeriodAreThoseOfTheLatest) {
  add(0x11, 0x4A, 1, 1, "Family", 500);
  EXPECT_THAT(names(), ElementsAre("Family v1"));
  EXPECT_EQ(onAir(streams).at(0).period, 500U);
  EXPECT_EQ(onAir(streams).at(0).table_id, 0x4A);
  add(0x11, 0x4A, 1, 2, "", 700);
  EXPECT_THAT(names(), ElementsAre("BAT 1 v2"));
  EXPECT_EQ(onAir(streams).at(0).period, 700U);
}

TEST_F(SectionStreamsTest, ATableIdThatNoStandardKnowsIsShownAsItIs) {
  add(0x200, 0x90, 7);
  EXPECT_THAT(names(), ElementsAre("table id 0x90 v1"));
}

TEST_F(SectionStreamsTest, ClearingTakesOneAndTellsWhetherItWasThere) {
  add(0x11, 0x4A, 1);
  add(0x11, 0x4A, 2);
  EXPECT_FALSE(streams.clearSections(0x11, 0x4A, 3));
  EXPECT_FALSE(streams.clearSections(0x11, 0x41, 1));
  EXPECT_FALSE(streams.clearSections(0x10, 0x4A, 1));
  EXPECT_FALSE(streams.clearSections(0x11, 0x4A, 0x10001));
  EXPECT_TRUE(streams.clearSections(0x11, 0x4A, 1));
  EXPECT_THAT(names(), ElementsAre("BAT 2 v1"));
  streams.clearAll();
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(SectionStreamsTest, ThoseOfOnePidShareACounterAndNoOthers) {
  EXPECT_FALSE(output.muxer->isTaken(0x11));
  add(0x11, 0x4A, 1);
  add(0x11, 0x4A, 2);
  EXPECT_FALSE(output.muxer->isTaken(0x11)) << "guests take no PID";
  add(0x12, 0x4A, 1);
  EXPECT_THAT(onAir(streams), SizeIs(3));
}

TEST_F(SectionStreamsTest, WhatHasToLetOthersSendIsNotOnAir) {
  add(0x11, 0x4A, 1);
  add(0x12, 0x4A, 1);
  vantor::SimpleTable other(output.muxer, 0x11, 1000);
  std::string packets = makePacket(0x11, 0);
  other.new_packetized_table(packets);
  ASSERT_THAT(onAir(streams), SizeIs(1));
  EXPECT_EQ(onAir(streams).at(0).pid, 0x12);
  other.clear_packetized_table();
  EXPECT_THAT(onAir(streams), SizeIs(2));
}
