#include "interface/psi/tableTypes.h"

#include <gtest/gtest.h>

#include <utility>

using namespace vantor::psi;

TEST(TableTypes, HaveTheIdsBetweenTheirFirstAndLast) {
  EXPECT_EQ(tableTypeOf(0x00), &kPat);
  EXPECT_EQ(tableTypeOf(0x41), &kNitOther);
  EXPECT_EQ(tableTypeOf(0x4F), &kEitPfOther);
  EXPECT_EQ(tableTypeOf(0x50), &kEitScheduleActual);
  EXPECT_EQ(tableTypeOf(0x5F), &kEitScheduleActual);
  EXPECT_EQ(tableTypeOf(0x60), &kEitScheduleOther);
  EXPECT_EQ(tableTypeOf(0xCD), &kStt);
  EXPECT_EQ(tableTypeOf(0x90), nullptr);
}

TEST(TableTypes, AnIdIsOneOfItsTypes) {
  for (int id = 0; id < 256; ++id) {
    const auto* const type = tableTypeOf(static_cast<std::uint8_t>(id));
    EXPECT_TRUE(type == nullptr || type->has(static_cast<std::uint8_t>(id))) << id;
  }
}

TEST(TableTypes, PeriodsAreNoLongerThanTheStandardsAllow) {
  // EN 300 468 clause 5.1.4.1, TR 101 290, TS 101 211 clause 4.4, ATSC A/65 annex; ms.
  EXPECT_LE(kPat.period, 500U);
  EXPECT_LE(kPmt.period, 500U);
  EXPECT_LE(kNitActual.period, 10000U);
  EXPECT_LE(kSdtActual.period, 2000U);
  EXPECT_LE(kSdtOther.period, 10000U);
  EXPECT_LE(kEitPfActual.period, 2000U);
  EXPECT_LE(kEitPfOther.period, 10000U);
  EXPECT_LE(kTdt.period, 30000U);
  EXPECT_LE(kTot.period, 30000U);
  EXPECT_LE(kMgt.period, 150U);
  EXPECT_LE(kTerrestrialVct.period, 400U);
  EXPECT_LE(kCableVct.period, 400U);
  EXPECT_LE(kStt.period, 1000U);
}

TEST(TableTypeName, IsTheOneThatTheStandardsUse) {
  const std::pair<int, const char*> names[] = {
      {0x00, "PAT"},
      {0x01, "CAT"},
      {0x02, "PMT"},
      {0x03, "TSDT"},
      {0x3B, "DSM-CC"},
      {0x40, "NIT actual"},
      {0x41, "NIT other"},
      {0x42, "SDT actual"},
      {0x46, "SDT other"},
      {0x4A, "BAT"},
      {0x4E, "EIT p/f actual"},
      {0x4F, "EIT p/f other"},
      {0x50, "EIT schedule actual"},
      {0x60, "EIT schedule other"},
      {0x70, "TDT"},
      {0x71, "RST"},
      {0x72, "stuffing"},
      {0x73, "TOT"},
      {0x74, "AIT"},
      {0x7E, "DIT"},
      {0x7F, "SIT"},
      {0x81, "ECM"},
      {0x82, "EMM"},
      {0xC7, "ATSC MGT"},
      {0xC8, "ATSC VCT terrestrial"},
      {0xC9, "ATSC VCT cable"},
      {0xCA, "ATSC RRT"},
      {0xCB, "ATSC EIT"},
      {0xCC, "ATSC ETT"},
      {0xCD, "ATSC STT"},
      {0xFC, "splice info"},
  };
  for (const auto& [id, name] : names) EXPECT_EQ(tableTypeName(static_cast<std::uint8_t>(id)), name);
}

TEST(TableTypeName, IsHexadecimalForAnIdThatHasNone) {
  EXPECT_EQ(tableTypeName(0x4A), "BAT");
  EXPECT_EQ(tableTypeName(0x90), "table id 0x90");
}

TEST(TableName, TellsTablesOfOneKindApart) {
  EXPECT_EQ(tableName({0x00, 7, 0, 0}), "PAT");
  EXPECT_EQ(tableName({0x02, 65535, 0, 0}), "PMT 65535");
  EXPECT_EQ(tableName({0x40, 3, 0, 0}), "NIT actual");
  EXPECT_EQ(tableName({0x41, 3, 0, 0}), "NIT other 3");
  EXPECT_EQ(tableName({0x42, 3, 3, 4}), "SDT actual");
  EXPECT_EQ(tableName({0x46, 3, 3, 4}), "SDT other 3/4");
  EXPECT_EQ(tableName({0x4A, 500, 0, 0}), "BAT 500");
  EXPECT_EQ(tableName({0x4E, 257, 1, 1}), "EIT p/f actual 257");
  EXPECT_EQ(tableName({0x51, 257, 1, 1}), "EIT schedule actual 51 257");
  EXPECT_EQ(tableName({0xC8, 1, 0, 0}), "ATSC VCT terrestrial");
  EXPECT_EQ(tableName({0x90, 1, 0, 0}), "table id 0x90");
}

TEST(TableName, HasTheStreamWhereItIsAskedFor) {
  EXPECT_EQ(vantor::psi::tableNameOfStream({0x4F, 258, 2, 1}), "EIT p/f other 258 of 2/1");
  EXPECT_EQ(vantor::psi::tableNameOfStream({0x60, 258, 65535, 65534}), "EIT schedule other 60 258 of 65535/65534");
}
