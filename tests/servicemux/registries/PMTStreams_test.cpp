#include "servicemux/registries/PMTStreams.h"

#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/registries/RegistryTest.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PMTStreamsTest : public RegistryTest {
 protected:
  bool add(unsigned short program, unsigned short pid, unsigned char version = 1, unsigned int size = 40) {
    std::string packets = makePacket(pid, 0);
    return pmts.newPMT(program, pid, packets, version, size);
  }

  vantor::PMTStreams pmts{&output};
};

}  // namespace

TEST_F(PMTStreamsTest, AddedAndUpdatedPMTsAreLogged) {
  EXPECT_TRUE(add(0x10, 0x100, 3, 45));
  EXPECT_TRUE(add(0x10, 0x100, 4, 50));
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out] Add PMT 0010/v3 on PID 0100 Size 45b",
                                          "5 [out] Update PMT 0010/v4 on PID 0100 Size 50b"));
  EXPECT_EQ(pmts.findPMT(0x10)->version, 4);
  EXPECT_EQ(pmts.findPMT(0x10)->size, 50U);
  EXPECT_EQ(pmts.findPMT(0x10)->carrousel->GetNumberSubTables(), 1U);
}

TEST_F(PMTStreamsTest, UpdateReplacesWhatIsSent) {
  add(1, 0x100);
  std::string packets = makePacket(0x100, 0, 'n');
  EXPECT_TRUE(pmts.newPMT(1, 0x100, packets, 2, 40));
  EXPECT_EQ(firstPacket(*pmts.findPMT(1)->carrousel), makePacket(0x100, 0, 'n'));
}

TEST_F(PMTStreamsTest, UpdateWithoutPacketsIsRefused) {
  add(1, 0x100, 3);
  takeLines(log);
  std::string none;
  EXPECT_FALSE(pmts.newPMT(1, 0x100, none, 4, 0));
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(pmts.findPMT(1)->version, 3);
  EXPECT_EQ(firstPacket(*pmts.findPMT(1)->carrousel), makePacket(0x100, 0));
}

TEST_F(PMTStreamsTest, PeriodIsTheOutputsPMTPeriod) {
  output.periods = ownPeriods();
  add(1, 0x100);
  EXPECT_EQ(onAir(pmts).at(0).period, output.periods.pmt);
}

TEST_F(PMTStreamsTest, NewPeriodIsTakenByAll) {
  add(1, 0x100);
  add(2, 0x101);
  output.periods.pmt = 321;
  EXPECT_EQ(onAir(pmts).at(0).period, 200U) << "until it is told";
  pmts.takePeriod();
  for (const auto& table : onAir(pmts)) EXPECT_EQ(table.period, 321U);
}

TEST_F(PMTStreamsTest, ProgramsOnOnePidShareACarrousel) {
  add(1, 0x100);
  add(2, 0x100);
  add(3, 0x101);
  const std::weak_ptr<vantor::TableCarrousel> carrousel = pmts.findPMT(1)->carrousel;
  EXPECT_EQ(pmts.findPMT(2)->carrousel, carrousel.lock());
  EXPECT_NE(pmts.findPMT(3)->carrousel, carrousel.lock());
  EXPECT_EQ(carrousel.lock()->GetNumberSubTables(), 2U);
  pmts.clearPMT(1);
  ASSERT_FALSE(carrousel.expired());
  EXPECT_EQ(carrousel.lock()->GetNumberSubTables(), 1U);
  EXPECT_TRUE(carrousel.lock()->is_linked());
  pmts.clearPMT(2);
  EXPECT_TRUE(carrousel.expired());
}

TEST_F(PMTStreamsTest, ProgramOnAnotherPidIsRefusedInSilence) {
  add(1, 0x100, 3);
  takeLines(log);
  EXPECT_FALSE(add(1, 0x200, 4));
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(pmts.findPMT(1)->pid, 0x100);
  EXPECT_EQ(pmts.findPMT(1)->version, 3);
  EXPECT_EQ(firstPacket(*pmts.findPMT(1)->carrousel), makePacket(0x100, 0));
}

TEST_F(PMTStreamsTest, ClearedPMTIsLoggedAndGone) {
  add(0x10, 0x100, 3, 45);
  takeLines(log);
  pmts.clearPMT(0x10);
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out]Clearing PMT 0010/v3 on PID 0100 Size 45b"));
  EXPECT_EQ(pmts.findPMT(0x10), nullptr);
}

TEST_F(PMTStreamsTest, UnknownProgramIsNotFound) {
  add(1, 0x100);
  takeLines(log);
  pmts.clearPMT(0xAB);
  EXPECT_THAT(takeLines(log), ElementsAre("4 [out] PMT   ab not found"));
  EXPECT_THAT(onAir(pmts), testing::SizeIs(1));
}

TEST_F(PMTStreamsTest, ClearAllIsSilent) {
  pmts.clearAllPMTs();
  add(1, 0x100);
  add(2, 0x101);
  takeLines(log);
  pmts.clearAllPMTs();
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_THAT(onAir(pmts), IsEmpty());
}

TEST_F(PMTStreamsTest, RefusedPMTLeavesNothingBehind) {
  output.periods.pmt = 24;
  int mutexesDestroyed = 0;
  {
    const LockHook hook([](const void*) {}, [&](const void*) { ++mutexesDestroyed; });
    EXPECT_FALSE(add(1, 0x100));
  }
  EXPECT_EQ(mutexesDestroyed, 1) << "that of the carousel, which was made for this PMT alone";
  EXPECT_EQ(pmts.findPMT(1), nullptr);
  output.periods.pmt = 200;
  EXPECT_TRUE(add(1, 0x100));
  EXPECT_EQ(pmts.findPMT(1)->carrousel.use_count(), 1);
}

TEST_F(PMTStreamsTest, RefusedPMTLeavesTheOthersOfItsPid) {
  add(1, 0x100);
  output.periods.pmt = 24;
  EXPECT_FALSE(add(2, 0x100));
  EXPECT_EQ(pmts.findPMT(1)->carrousel.use_count(), 1);
  EXPECT_EQ(pmts.findPMT(1)->carrousel->GetNumberSubTables(), 1U);
}
