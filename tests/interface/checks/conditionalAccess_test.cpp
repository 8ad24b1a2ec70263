#include "interface/checks/conditionalAccess.h"

#include <gmock/gmock.h>

#include <string>

#include "tests/interface/checks/refuses.h"

using vantor::Refusal;
using vantor::thrift::general::ScramblerConfig;
using vantor::thrift::general::simulCryptData;
using vantor::thrift::simulcrypt::ECMItem;
using vantor::thrift::simulcrypt::EMMItem;

namespace {

const std::string kSection("\x80\x70\x02ok", 5);

ScramblerConfig simulcrypt() {
  ScramblerConfig config;
  config.enabled = true;
  config.scrambler_type = 3;
  config.ecm_pids = {{5, {0x100, 0x1FFF}}, {7, {0}}};
  config.emm_pids = {{5, {0x200}}};
  return config;
}

simulCryptData message(std::int32_t format, const std::string& data) {
  simulCryptData message;
  message.format = format;
  message.data = data;
  return message;
}

ECMItem ecm(std::int32_t format, const std::string& data, int period = 0) {
  ECMItem item;
  item.pid = 0x100;
  item.format = format;
  item.data = data;
  item.period = static_cast<std::int16_t>(period);
  return item;
}

EMMItem emm(std::int32_t format, const std::string& data) {
  EMMItem item;
  item.pid = 0x200;
  item.format = format;
  item.data = data;
  return item;
}

template <typename Item>
std::optional<Refusal> onPid(Item item, std::int32_t pid) {
  item.pid = pid;
  return check(item);
}

}  // namespace

TEST(ScramblerConfigCheck, NamesThePidThatIsNone) {
  EXPECT_THAT(check(simulcrypt()), passes());
  ScramblerConfig config = simulcrypt();
  config.ecm_pids[5][1] = 0x2000;
  EXPECT_THAT(check(config), refuses("/ecm_pids/5/1", "8192", "is above 0x1FFF"));
  config = simulcrypt();
  config.emm_pids[9] = {-1};
  EXPECT_THAT(check(config), refuses("/emm_pids/9/0", "-1", "is negative"));
}

TEST(ScramblerConfigCheck, KnowsTwoTypes) {
  ScramblerConfig config = simulcrypt();
  for (const int type : {1, 2, 4, -1}) {
    config.scrambler_type = type;
    EXPECT_THAT(check(config),
                refuses("/scrambler_type", std::to_string(type), "is neither 0 (fixed PIDs) nor 3 (Simulcrypt)"));
  }
}

TEST(ScramblerConfigCheck, LooksAtNothingThatIsNotRead) {
  ScramblerConfig config = simulcrypt();
  config.ecm_pids[5] = {9000};
  config.scrambler_type = 0;
  EXPECT_THAT(check(config), passes());
  config.scrambler_type = 7;
  config.enabled = false;
  EXPECT_THAT(check(config), passes());
}

TEST(SimulcryptDataCheck, TakesWholeSectionsOrWholePackets) {
  EXPECT_THAT(check(message(0, kSection + kSection)), passes());
  EXPECT_THAT(check(message(1, std::string(376, 'x'))), passes());
  EXPECT_THAT(check(message(0, "")), passes());
  EXPECT_THAT(check(message(1, "")), passes());
  EXPECT_THAT(check(message(2, kSection)), refuses("/format", "2", "is neither 0 (sections) nor 1 (packets)"));
  EXPECT_THAT(check(message(-1, kSection)), refuses("/format", "-1", "is neither 0 (sections) nor 1 (packets)"));
  EXPECT_THAT(check(message(1, std::string(200, 'x'))),
              refuses("/data", "200 bytes", "are no whole packets of 188"));
  EXPECT_THAT(check(message(0, kSection + "\x80")), refuses("/data", "6 bytes", "are no whole sections"));
  EXPECT_THAT(check(message(0, std::string("\x80\x70\x03ok", 5))),
              refuses("/data", "5 bytes", "are no whole sections"));
  EXPECT_THAT(check(message(0, std::string("\x80\x71\x02ok", 5))),
              refuses("/data", "5 bytes", "are no whole sections"));
}

TEST(EcmItemCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(ecm(0, kSection)), passes());
  EXPECT_THAT(check(ecm(1, std::string(188, 'x'), 32767)), passes());
  EXPECT_THAT(onPid(ecm(0, kSection), 0x1FFF), passes());
  EXPECT_THAT(onPid(ecm(0, kSection), 0x2000), refuses("/pid", "8192", "is above 0x1FFF"));
  EXPECT_THAT(onPid(ecm(0, kSection), -1), refuses("/pid", "-1", "is negative"));
  EXPECT_THAT(check(ecm(3, kSection)), refuses("/format", "3", "is neither 0 (sections) nor 1 (packets)"));
  EXPECT_THAT(check(ecm(1, "x")), refuses("/data", "1 bytes", "are no whole packets of 188"));
  EXPECT_THAT(check(ecm(1, std::string(188, 'x'), -1)), refuses("/period", "-1", "is negative"));
}

TEST(EcmItemCheck, ReadsThePeriodOfPacketsOnly) { EXPECT_THAT(check(ecm(0, kSection, -1)), passes()); }

TEST(EcmItemCheck, StopNeedsAPidAndNothingElse) {
  EXPECT_THAT(check(ecm(9, "", -1)), passes());
  EXPECT_THAT(onPid(ecm(9, ""), 70000), refuses("/pid", "70000", "is above 0x1FFF"));
}

TEST(EmmItemCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(emm(0, kSection)), passes());
  EXPECT_THAT(onPid(emm(0, kSection), 9000), refuses("/pid", "9000", "is above 0x1FFF"));
  EXPECT_THAT(check(emm(2, kSection)), refuses("/format", "2", "is neither 0 (sections) nor 1 (packets)"));
  EXPECT_THAT(check(emm(1, std::string(189, 'x'))), refuses("/data", "189 bytes", "are no whole packets of 188"));
  EXPECT_THAT(check(emm(0, "x")), refuses("/data", "1 bytes", "are no whole sections"));
  EXPECT_THAT(check(emm(0, "")), refuses("/data", "", "is empty"));
}
