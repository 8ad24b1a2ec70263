#include "programs/tables/json/pidJson.h"

#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/parseJson.h"

namespace vantor::tables {
namespace {

std::string pidOf(const std::string& json) {
  const Json document = parseJson(json);
  try {
    return std::to_string(readPid(JsonValue(document)));
  } catch (const InputError& error) {
    return error.what();
  }
}

TEST(PidJson, IsANumberOrHexDigits) {
  EXPECT_EQ(pidOf("18"), "18");
  EXPECT_EQ(pidOf(R"("0x0012")"), "18");
  EXPECT_EQ(pidOf(R"("0x1fff")"), "8191");
  EXPECT_EQ(pidOf(R"("0x1FFF")"), "8191");
  EXPECT_EQ(pidOf(R"("0x0")"), "0");
}

TEST(PidJson, IsNothingElse) {
  for (const std::string json :
       {R"("")", R"("18")", R"("0x")", R"("0x12g")", R"("0X12")", R"("x12")", R"(" 0x12")", R"("0x-1")"})
    EXPECT_EQ(pidOf(json), json + R"( is no PID like "0x0012" or 18)");
  EXPECT_EQ(pidOf("true"), "true is not an integer");
}

TEST(PidJson, HasALimitInBothForms) {
  EXPECT_EQ(pidOf("8192"), "8192 is above 0x1FFF");
  EXPECT_EQ(pidOf(R"("0x2000")"), R"("0x2000" is above 0x1FFF)");
  EXPECT_EQ(pidOf(R"("0x123456789")"), R"("0x123456789" is above 0x1FFF)");
  EXPECT_EQ(pidOf("-1"), "-1 is below 0");
}

TEST(PidJson, IsWrittenWithFourDigits) {
  EXPECT_EQ(pidText(0x12), "0x0012");
  EXPECT_EQ(pidText(0x1FFF), "0x1FFF");
}

}  // namespace
}  // namespace vantor::tables
