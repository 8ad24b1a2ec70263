#include <gtest/gtest.h>

#include "programs/tables/sets/tableSetJson.h"

namespace vantor::tables {
namespace {

using namespace thrift::dvb_tables;

Descriptor descriptor(std::int16_t tag, std::string data) {
  Descriptor out;
  out.tag = tag;
  out.data = std::move(data);
  return out;
}

TEST(WriteJson, WritesAnEmptySet) { EXPECT_EQ(writeTableSet({}), "{}\n"); }

TEST(WriteJson, LaysATableSetOutForPeople) {
  TableSet set;
  set.pat.emplace();
  set.pat->transport_stream_id = 1;
  set.pat->current_next_indicator = false;
  for (int i = 1; i <= 3; ++i) {
    PATProgram program;
    program.program_number = i;
    program.pid = 0x100 + i;
    set.pat->programs.push_back(program);
  }
  set.cat.emplace();
  set.cat->version_number = 7;
  set.cat->descriptors = {descriptor(9, std::string("\x0B\x00\xE0\x64", 4))};
  EXPECT_EQ(writeTableSet(set), R"({
  "pat": {
    "transport_stream_id": 1,
    "version_number": 0,
    "current_next_indicator": false,
    "programs": [
      {"program_number": 1, "pid": "0x0101"},
      {"program_number": 2, "pid": "0x0102"},
      {"program_number": 3, "pid": "0x0103"}
    ]
  },
  "cat": {"version_number": 7, "descriptors": [{"CA": {"CA_system_ID": 2816, "CA_PID": "0x0064"}}]}
}
)");
}

TEST(WriteJson, WritesWhatTheReaderReadsBack) {
  TableSet set;
  set.pat.emplace();
  set.cat.emplace();
  set.cat->current_next_indicator = false;
  set.nit.emplace();
  set.nit->network_id = 0xFFFF;
  set.nit->version_number = 40;
  set.nit->descriptors = {descriptor(0x40, ""), descriptor(255, std::string(255, '\xA5'))};
  NITTransportStream stream;
  stream.transport_stream_id = 0xFFFF;
  stream.descriptors = {descriptor(0x41, std::string("\0\1\2", 3))};
  set.nit->transport_streams = {stream, NITTransportStream()};
  const TableSet back = readTableSet(writeTableSet(set));
  EXPECT_EQ(back.pat, set.pat);
  EXPECT_EQ(back.cat, set.cat);
  EXPECT_EQ(back.nit, set.nit);
}

}  // namespace
}  // namespace vantor::tables
