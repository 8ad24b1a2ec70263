#include "programs/servicemux/captureReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/servicemux/inputNotes.h"
#include "tests/programs/captures.h"
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
      Packer(0x12).apart({makeSection(0x50, 1, 0, 0, 0, eitPayload(0, 0x51, {})),
                          makeSection(0x51, 1, 0, 0, 0, eitPayload(0, 0x51, {}))}) +
      Packer(0x14).apart({std::string("\x70\x70\x05\xEE\x71\x12\x00\x00", 8)}) +
      Packer(0x11).apart({makeSection(0xE0, 1, 0, 0, 0, "")}) +
      Packer(0x10).apart({makeSection(0xE0, 1, 0, 0, 0, "")}));
  EXPECT_THAT(captureTable(capture),
              ElementsAre("TABLE                      PID  SECTIONS",
                          "PAT                     0x0000         2  skipped, no whole table",
                          "CAT                     0x0001         1  imported, version 7",
                          "EIT schedule actual     0x0012         2  imported, 2 tables",
                          "TDT                     0x0014         1  imported, 1 table",
                          "table id 0xE0           2 PIDs         2  kept as sections, 2 tables"));
  EXPECT_EQ(skippedSections(capture), "skipped: PAT");
}

TEST(CaptureReport, SaysWhichTablesAreReadableAndWhichAreKeptAsTheyCame) {
  const std::string empty("\xF0\0\xF0\0", 4);
  const auto capture =
      tables::readSections(makeSection(0x4A, 1, 0, 0, 0, empty) + makeSection(0x4A, 2, 0, 0, 0, empty) +
                           makeSection(0x4A, 3, 0, 0, 0, "no BAT") + makeSection(0x90, 1, 0, 0, 0, "no PID"));
  EXPECT_THAT(captureTable(capture),
              ElementsAre("TABLE                           SECTIONS",
                          "BAT                                    3  imported, 2 tables; kept as sections, 1 table",
                          "table id 0x90                          1  skipped"));
  EXPECT_EQ(skippedSections(capture), "skipped: table id 0x90");
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

TEST(CaptureReport, TellsOfDamage) {
  const std::string pat = Packer(0).apart(sectionsOf(makePat(5, 1)));
  EXPECT_THAT(captureNotes(tables::readTransportStream("junk" + pat + pat + pat + pat + pat + "x" + pat + pat +
                                                       pat + "tail")),
              ElementsAre("skipped 5 bytes that make no packet, in 2 places",
                          "left out 4 bytes at the end, which are no whole packet"));
}

TEST(CaptureReport, TellsOfEveryLossOfAnInput) {
  inputs::InputCounts counts;
  EXPECT_THAT(inputNotes(counts), IsEmpty());
  counts.rtpLost = 1;
  counts.rtpLate = 2;
  counts.otherDatagrams = 3;
  counts.fragments = 4;
  counts.cutFrames = 5;
  counts.dropped = 6;
  EXPECT_THAT(inputNotes(counts),
              ElementsAre("1 RTP packet missing", "left out 2 RTP packets that came late or twice",
                          "3 datagrams without packets", "4 fragments of IP datagrams, which are not joined",
                          "5 frames that the network capture does not hold as a whole",
                          "6 datagrams dropped, the program was too slow"));
}

TEST(CaptureReport, TellsOfSectionsOfSeveralVersions) {
  const auto section = [](unsigned version, unsigned number) {
    return makeSection(0x4E, 7, version, number, 1, eitPayload(1, 0x4E, {}));
  };
  EXPECT_THAT(
      captureNotes(tables::readSections(section(4, 0) + section(9, 1))),
      ElementsAre("EIT p/f actual 7: no version of it is whole, the newest section of each number is kept"));
}

TEST(CaptureReport, TellsOfLostSections) {
  std::string broken = sectionsOf(makePat(5, 1))[0];
  broken[8] = static_cast<char>(broken[8] ^ 1);
  EXPECT_THAT(captureNotes(tables::readTransportStream(Packer(0).apart({broken, broken}))),
              ElementsAre("PID 0x0000: skipped 2 sections with a wrong CRC"));
  EXPECT_THAT(captureNotes(tables::readSections(broken)), ElementsAre("skipped 1 section with a wrong CRC"));
}

/// A p/f section with one event.
std::string eventSection(unsigned service, unsigned version, unsigned number, int event) {
  return makeSection(0x4E, service, version, number, 1, eitPayload(1, 0x4E, {{event, 0xE489120000}}));
}

TEST(CaptureReport, NamesTheServicesWhoseEventsChanged) {
  std::string file;
  for (unsigned service = 1; service <= 10; ++service)
    for (const unsigned version : {3U, 4U})
      for (const unsigned number : {0U, 1U}) file += eventSection(service, version, number, 1);
  EXPECT_THAT(
      captureNotes(tables::readSections(file)),
      ElementsAre("EIT p/f actual 1 (4), EIT p/f actual 2 (4), EIT p/f actual 3 (4), EIT p/f actual 4 (4), EIT p/f "
                  "actual 5 (4), EIT p/f actual 6 (4), EIT p/f actual 7 (4), EIT p/f actual 8 (4) and 2 more: "
                  "several versions in the capture, the last one of each is kept"));
}

TEST(CaptureReport, NamesTheServicesWhoseEventsChangedUnderOneVersion) {
  const std::string file = eventSection(7, 9, 0, 1) + eventSection(7, 9, 1, 2) + eventSection(7, 9, 0, 3);
  EXPECT_THAT(captureNotes(tables::readSections(file)),
              ElementsAre("EIT p/f actual 7 (9): several contents under one version, the last one is kept"));
}

TEST(CaptureReport, NamesWhatIsThereInPartOnly) {
  const std::string sdt = sectionsOf(makeSdt(5, 1, 20), 0x46)[0];
  EXPECT_THAT(captureNotes(tables::readSections(eventSection(7, 9, 1, 2) + sdt)),
              ElementsAre("EIT p/f actual 7: not whole in the capture, imported as far as it is there",
                          "SDT other 5/8442: never whole in the capture and left out"));
}

TEST(CaptureReport, NamesAnnouncedTablesOfWhichThereAreMany) {
  auto next = makeSdt(5, 1, 1);
  next.current_next_indicator = false;
  EXPECT_THAT(captureNotes(tables::readSections(sectionsOf(next, 0x46)[0])),
              ElementsAre("SDT other 5/8442 (1): announced as the next version, never as the current one"));
}

TEST(CaptureReport, TellsOfAProgramThatCannotGoOnAir) {
  const std::string file =
      sectionsOf(makePat(1, 1))[0] + sectionsOf(makePmt(1, 1))[0] + sectionsOf(makePmt(9, 1))[0];
  EXPECT_THAT(captureNotes(tables::readSections(file)),
              ElementsAre("PMT 9 left out: it has no PID, and no PAT names the program"));
}

}  // namespace
}  // namespace vantor::cli
