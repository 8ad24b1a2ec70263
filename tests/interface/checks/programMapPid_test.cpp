#include "interface/checks/programMapPid.h"

#include <gmock/gmock.h>

#include "tests/interface/checks/refuses.h"

using vantor::checkProgramMapPid;

TEST(ProgramMapPidCheck, LeavesReservedPidsAndNullPacketsAlone) {
  EXPECT_THAT(checkProgramMapPid(0x20), passes());
  EXPECT_THAT(checkProgramMapPid(0x1FFE), passes());
  EXPECT_THAT(checkProgramMapPid(0x1F), refuses("/pid", "31", "is below 0x20"));
  EXPECT_THAT(checkProgramMapPid(-1), refuses("/pid", "-1", "is below 0x20"));
  EXPECT_THAT(checkProgramMapPid(0x1FFF), refuses("/pid", "8191", "is above 0x1FFE"));
  EXPECT_THAT(checkProgramMapPid(9000), refuses("/pid", "9000", "is above 0x1FFE"));
}
