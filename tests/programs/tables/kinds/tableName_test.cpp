#include "programs/tables/kinds/tableName.h"

#include <gtest/gtest.h>

namespace vantor::tables {
namespace {

TEST(TableName, IsThatOfTheRangeThatTheIdStandsIn) {
  EXPECT_EQ(tableName(0x42), "SDT actual");
  EXPECT_EQ(tableName(0x55), "EIT schedule actual");
  EXPECT_EQ(tableName(0x4A), "BAT");
  EXPECT_EQ(tableName(0xCB), "ATSC EIT");
}

TEST(TableName, IsTheNumberOfAnIdThatHasNone) { EXPECT_EQ(tableName(0xE0), "table id 0xE0"); }

}  // namespace
}  // namespace vantor::tables
