#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/t2dPAT.h"
#include "servicemux/front/serviceMux.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/records.h"

// This program defines a log_function of its own (RecordedLog) and is linked with the default one too.

using testing::Contains;
using testing::ElementsAre;
using testing::Field;

TEST(OwnLogFunction, GetsTheErrorsOfConverters) {
  RecordedLog log;
  vantor::thrift::dvb_tables::PAT record;
  record.programs = {program(1, 0x2000)};
  EXPECT_EQ(vantor::thrift::dvb_tables::t2dPAT(record), nullptr);
  EXPECT_THAT(log.takeErrors(), ElementsAre("PAT: programs[0].pid: 8192 is above 0x1FFF"));
}

TEST(OwnLogFunction, GetsTheMessagesOfAMultiplex) {
  RecordedLog log;
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = 9;  // discard
  { const vantor::serviceMux mux("out", address, ""); }
  EXPECT_THAT(log.take(), Contains(Field(&RecordedLog::Message::text,
                                         "[out] Building Service Mux for [127.0.0.1]:[9] vlan[0]")));
}
