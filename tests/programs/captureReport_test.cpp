#include "programs/servicemux/CaptureReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/streams.h"

namespace vantor::cli {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(CaptureReport, HasALineForEveryKindOfTable) {
  const std::string unfinished = sectionsOf(makePat(3, 250))[0];
  const auto capture = tables::readTransportStream(
      Packer(0).apart({unfinished, unfinished}) + Packer(1).apart(sectionsOf(makeCat(7, 1))) +
      Packer(0x12).apart({makeSection(0x50, 1, 0, 0, 0, ""), makeSection(0x51, 1, 0, 0, 0, "")}) +
      Packer(0x11).apart({makeSection(0xE0, 1, 0, 0, 0, "")}) +
      Packer(0x10).apart({makeSection(0xE0, 1, 0, 0, 0, "")}));
  EXPECT_THAT(captureTable(capture),
              ElementsAre("TABLE                      PID  SECTIONS",
                          "PAT                     0x0000         2  skipped, no whole table",
                          "CAT                     0x0001         1  imported, version 7",
                          "EIT schedule actual     0x0012         2  skipped",
                          "table id 0xE0           2 PIDs         2  skipped"));
  EXPECT_EQ(skippedSections(capture), "skipped: PAT, EIT schedule actual, table id 0xE0");
}

TEST(CaptureReport, SaysNothingOfACleanCapture) {
  const auto capture = tables::readSections(sectionsOf(makeCat(7, 1))[0]);
  EXPECT_THAT(captureNotes(capture), IsEmpty());
  EXPECT_EQ(skippedSections(capture), "");
}

TEST(CaptureReport, TellsOfVersionsLeftOut) {
  const auto capture = tables::readSections(sectionsOf(makePat(5, 1))[0] + sectionsOf(makePat(6, 1))[0] +
                                            sectionsOf(makePat(7, 1))[0]);
  EXPECT_THAT(captureNotes(capture), ElementsAre("PAT: 3 versions in the capture, the last one (7) is kept"));
}

TEST(CaptureReport, TellsOfATableThatIsOnlyAnnounced) {
  auto next = makeCat(4, 1);
  next.current_next_indicator = false;
  EXPECT_THAT(captureNotes(tables::readSections(sectionsOf(next)[0])),
              ElementsAre("CAT: version 4 is announced as the next one, never as the current one"));
}

TEST(CaptureReport, TellsOfLostSections) {
  std::string broken = sectionsOf(makePat(5, 1))[0];
  broken[8] = static_cast<char>(broken[8] ^ 1);
  EXPECT_THAT(captureNotes(tables::readTransportStream(Packer(0).apart({broken, broken}))),
              ElementsAre("PID 0x0000: skipped 2 sections with a wrong CRC"));
  EXPECT_THAT(captureNotes(tables::readSections(broken)), ElementsAre("skipped 1 section with a wrong CRC"));
}

}  // namespace
}  // namespace vantor::cli
