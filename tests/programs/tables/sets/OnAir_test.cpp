#include "programs/tables/sets/OnAir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "programs/tables/kinds/cat.h"
#include "programs/tables/kinds/stt.h"
#include "programs/tables/kinds/timeTables.h"
#include "programs/tables/sections/SectionAssembler.h"
#include "programs/tables/sets/tableSetJson.h"
#include "servicemux/front/serviceMux.h"
#include "tests/programs/Receiver.h"

/// Tables that change with the time, while they are on air.

namespace vantor::tables::OnAir_test {
namespace {

using namespace vantor::testing;

/// Winter in Paris and New York, and just behind the begin of their summer time.
const UtcTime kWinter = std::chrono::system_clock::from_time_t(1768478400);  // 2026-01-15 12:00
const UtcTime kSummer = std::chrono::system_clock::from_time_t(1774746000);  // 2026-03-29 01:00

thrift::general::OutputAddress addressOf(const Receiver& receiver) {
  thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = receiver.udpPort();
  return address;
}

class OnAirTest : public ::testing::Test {
 protected:
  /// The next section with this table_id and other contents than `old`.
  std::string nextSection(unsigned tableId, const std::string& old = "") {
    while (true) {
      while (!sections.empty()) {
        const std::string section = sections.front();
        sections.pop_front();
        if (static_cast<unsigned char>(section[0]) == tableId && contentOf(section) != old) return section;
      }
      const std::string datagram = receiver.receive(60000);
      if (datagram.empty()) return "";
      for (std::size_t at = 0; at < datagram.size(); at += 188) assembler.push(datagram.substr(at, 188));
    }
  }

  /// What stays the same from second to second: the descriptors of a TOT.
  static std::string contentOf(const std::string& section) { return section.substr(8, section.size() - 12); }

  static TableSet read(const std::string& text) { return readTableSet(text, kWinter); }

  Receiver receiver;
  std::deque<std::string> sections;
  SectionAssembler assembler{[this](const Section& section) { sections.push_back(section.bytes()); },
                             [](SectionFault) {}};
};

TEST_F(OnAirTest, TotHasTheNewOffsetsOnceTheChangeHasPassed) {
  const TableSet set = read(R"({"time": {"tdt": true, "local_time_offsets": [
    {"country_code": "FRA", "time_zone": "Europe/Paris"},
    {"country_code": "JPN", "local_time_offset": "+09:00"}]}})");
  serviceMux mux("time", addressOf(receiver), "");
  OnAir onAir(set, mux, kWinter);
  const std::string winter = contentOf(nextSection(0x73));
  const std::string japan("JPN\x02\x09\x00\0\0\0\0\0\x09\x00", 13);
  EXPECT_EQ(winter.substr(4), std::string("FRA\x02\x01\x00\xEE\xC8\x01\x00\x00\x02\x00", 13) + japan);
  onAir.refresh(kSummer);
  const std::string summer = contentOf(nextSection(0x73, winter));
  EXPECT_EQ(summer.substr(4), std::string("FRA\x02\x02\x00\xEF\x9A\x01\x00\x00\x01\x00", 13) + japan);
  // A clock that was set wrong and is put right.
  onAir.refresh(kWinter);
  EXPECT_EQ(contentOf(nextSection(0x73, summer)), winter);
}

TEST_F(OnAirTest, OffsetsOfASetThatCameLaterChangeToo) {
  serviceMux mux("time", addressOf(receiver), "");
  OnAir onAir(read(R"({"cat": {"version_number": 1}})"), mux, kWinter);
  onAir.replace(read(R"({"time": {"tdt": true, "local_time_offsets": [
    {"country_code": "FRA", "time_zone": "Europe/Paris"}]}})"),
                kWinter);
  const std::string winter = contentOf(nextSection(0x73));
  onAir.refresh(kSummer);
  EXPECT_NE(contentOf(nextSection(0x73, winter)), "");
}

TEST_F(OnAirTest, SttHasTheNewStatusOnceTheChangeHasPassed) {
  const TableSet set = read(R"({"atsc": {"mgt": {"version_number": 1, "tables": []},
                                         "stt": {"time_zone": "Europe/Paris"}}})");
  serviceMux mux("time", addressOf(receiver), "");
  OnAir onAir(set, mux, kWinter);
  const auto isSummerTime = [](const std::string& section) { return (section.at(14) & 0x80) != 0; };
  EXPECT_FALSE(isSummerTime(nextSection(0xCD)));
  onAir.refresh(kSummer);
  // What was packed before the change may be among those that come first.
  std::string section = nextSection(0xCD);
  for (int i = 0; i < 5 && !isSummerTime(section); ++i) section = nextSection(0xCD);
  EXPECT_TRUE(isSummerTime(section));
}

TEST_F(OnAirTest, OnlyWhatTheTimeChangesIsOutdated) {
  const TableSet set = read(R"({"cat": {"version_number": 1}, "time": {"tdt": true, "local_time_offsets": [
    {"country_code": "FRA", "time_zone": "Europe/Paris"}]}, "atsc": {"stt": {"local_time_offset": "-05:00"}}})");
  EXPECT_TRUE(timeKind().isOutdated(set, kWinter, kSummer));
  EXPECT_TRUE(timeKind().isOutdated(set, kSummer, kWinter));
  EXPECT_FALSE(timeKind().isOutdated(set, kWinter, kSummer - std::chrono::seconds(1)));
  EXPECT_FALSE(sttKind().isOutdated(set, kWinter, kSummer));
  EXPECT_FALSE(catKind().isOutdated(set, kWinter, kSummer));
}

}  // namespace
}  // namespace vantor::tables::OnAir_test
