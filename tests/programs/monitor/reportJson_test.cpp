#include "programs/monitor/reportJson.h"

#include <gtest/gtest.h>

namespace vantor::monitor {
namespace {

TEST(ReportJson, HasEveryFigure) {
  TableReport table;
  table.key = {0x4F, 7, 2, 1};
  table.name = "EIT p/f other 7";
  table.pid = 0x12;
  table.version = 5;
  table.versionChanges = 1;
  table.sectionsSeen = 2;
  table.lastSection = 1;
  table.received = 9;
  table.bytes = 300;
  table.intervals = 7;
  table.minimum = 1000000;
  table.mean = 2500000;
  table.maximum = 12000123456;
  table.limit = psi::kEitPfOtherLimit;
  table.judged = 12000123456;
  table.late = 1;
  table.shortestGap = 24000000;
  table.shortGaps = 2;
  table.crcErrors = 3;
  PidReport pid;
  pid.pid = 0x12;
  pid.packets = 18;
  pid.kbps = 1.23456;
  pid.meanKbps = 2;
  pid.continuityErrors = 1;
  pid.doubled = 2;
  pid.scrambled = 3;
  pid.transportErrors = 4;
  pid.crcErrors = 5;
  pid.unknownCrcErrors = 5;
  pid.syntaxErrors = 6;
  pid.cutSections = 7;
  Report report;
  report.timeSource = TimeSource::kPcr;
  report.elapsed = 60000000000;
  report.packets = 18;
  report.kbps = 3;
  report.meanKbps = 4;
  report.input = {1, 2, 3, 4};
  report.tables = {table};
  report.pids = {pid};
  const tables::OrderedJson json = reportJson(report);
  EXPECT_EQ(json["times"], "pcr");
  EXPECT_EQ(json["elapsed"], 60000);
  EXPECT_EQ(json["input"].dump(),
            R"({"sync_losses":1,"skipped_bytes":2,"rtp_packets_lost":3,"datagrams_dropped":4})");
  EXPECT_EQ(json["broken"].size(), 11U);
  EXPECT_EQ(json["broken"][0].dump(), R"({"where":"PID 0x0012","what":"7 sections cut short"})");
  EXPECT_EQ(json["tables"][0].dump(),
            R"({"name":"EIT p/f other 7","pid":18,"table_id":79,"table_id_extension":7,"transport_stream_id":2,)"
            R"("original_network_id":1,"version_number":5,"version_changes":1,)"
            R"("sections":{"seen":2,"last_section_number":1},"sections_received":9,"bytes":300,)"
            R"("intervals":{"count":7,"minimum":1.0,"mean":2.5,"maximum":12000.123,)"
            R"("limit":{"maximum":10000,"source":"TS 101 211 clause 4.4"},"late":1,"silence":null},)"
            R"("gaps":{"shortest":24.0,"short":2},"crc_errors":3,"listed":true,"off":true})");
  EXPECT_EQ(json["pids"][0].dump(),
            R"({"pid":18,"packets":18,"kbps":1.235,"mean_kbps":2.0,"continuity_errors":1,"doubled_packets":2,)"
            R"("scrambled_packets":3,"transport_errors":4,"crc_errors":5,"syntax_errors":6,"cut_sections":7})");
}

TEST(ReportJson, WhatIsNotKnownIsNull) {
  TableReport table;
  table.name = "TDT";
  Report report;
  report.tables = {table};
  const tables::OrderedJson json = reportJson(report);
  EXPECT_EQ(json["times"], "none");
  EXPECT_TRUE(json["tables"][0]["version_number"].is_null());
  for (const char* interval : {"minimum", "mean", "maximum", "limit", "silence"})
    EXPECT_TRUE(json["tables"][0]["intervals"][interval].is_null()) << interval;
  EXPECT_TRUE(json["tables"][0]["gaps"]["shortest"].is_null());
  EXPECT_EQ(json["tables"][0]["off"], false);
}

}  // namespace
}  // namespace vantor::monitor
