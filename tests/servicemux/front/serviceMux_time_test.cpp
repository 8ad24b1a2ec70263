#include "servicemux/front/serviceMux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/dvbpsi.h"
#include "tests/servicemux/front/Intake.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned short kTimePid = 0x14;
constexpr int kTdt = 0x70;
constexpr int kTot = 0x73;

dvbpsi_local_time_offset_s makeOffset() {
  dvbpsi_local_time_offset_s offset{};
  offset.i_country_code[0] = 'F';
  offset.i_country_code[1] = 'R';
  offset.i_country_code[2] = 'A';
  offset.i_local_time_offset = 0x0100;
  return offset;
}

class TimeTablesIntake : public Intake {
 protected:
  bool isTableSent(int tableId) {
    return sender.await([=](const std::string& packet) {
      return pidOf(packet) == kTimePid && byteAt(packet, kSection) == tableId;
    });
  }
};

}  // namespace

TEST_F(TimeTablesIntake, WithoutOffsetsOnlyATdtIsSent) {
  mux.setLocalTimeOffsetTable({});
  EXPECT_THAT(tables(), ElementsAre("TDT v-1"));
  // A TOT would come between two of them.
  ASSERT_TRUE(sender.await([](const std::string& packet) { return counterOf(packet) == 1; }));
  for (const auto& packet : sender.packets()) EXPECT_EQ(byteAt(packet, kSection), kTdt);
}

TEST_F(TimeTablesIntake, WithOffsetsATotFollowsTheTdt) {
  mux.setLocalTimeOffsetTable({makeOffset()});
  EXPECT_TRUE(isTableSent(kTot));
  EXPECT_THAT(tables(), ElementsAre("TDT v-1", "TOT v-1"));
  EXPECT_EQ(byteAt(sender.packets().at(0), kSection), kTdt);
}

TEST_F(TimeTablesIntake, TooManyOffsetsLeaveWhatWasOnAir) {
  mux.setLocalTimeOffsetTable({});
  mux.setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s>(20, makeOffset()));
  EXPECT_THAT(lines(), ElementsAre("3 [mux] 20 local time offsets are more than the 19 that a descriptor holds"));
  EXPECT_THAT(tables(), ElementsAre("TDT v-1"));
}

TEST_F(TimeTablesIntake, ClearedTablesAreGone) {
  mux.setLocalTimeOffsetTable({makeOffset()});
  mux.clearLocalTimeOffsetTable();
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(TimeTablesIntake, ClearAllTablesLeavesThem) {
  mux.setLocalTimeOffsetTable({});
  mux.clearAllTables();
  EXPECT_THAT(tables(), ElementsAre("TDT v-1"));
  EXPECT_TRUE(isTableSent(kTdt));
}
