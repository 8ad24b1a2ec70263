#include "programs/tables/kinds/tableName.h"

#include <cstdio>

namespace vantor::tables {

namespace {

struct Range {
  std::uint8_t first;
  std::uint8_t last;
  const char* name;
};

// ISO/IEC 13818-1 table 2-31, EN 300 468 table 2, ATSC A/65 table 4.1. Of the ids for conditional access, two are
// ECMs by custom.
constexpr Range kNames[] = {
    {0x00, 0x00, "PAT"},
    {0x01, 0x01, "CAT"},
    {0x02, 0x02, "PMT"},
    {0x03, 0x03, "TSDT"},
    {0x38, 0x3F, "DSM-CC"},
    {0x40, 0x40, "NIT actual"},
    {0x41, 0x41, "NIT other"},
    {0x42, 0x42, "SDT actual"},
    {0x46, 0x46, "SDT other"},
    {0x4A, 0x4A, "BAT"},
    {0x4E, 0x4E, "EIT p/f actual"},
    {0x4F, 0x4F, "EIT p/f other"},
    {0x50, 0x5F, "EIT schedule actual"},
    {0x60, 0x6F, "EIT schedule other"},
    {0x70, 0x70, "TDT"},
    {0x71, 0x71, "RST"},
    {0x72, 0x72, "stuffing"},
    {0x73, 0x73, "TOT"},
    {0x74, 0x74, "AIT"},
    {0x7E, 0x7E, "DIT"},
    {0x7F, 0x7F, "SIT"},
    {0x80, 0x81, "ECM"},
    {0x82, 0x8F, "EMM"},
    {0xC7, 0xC7, "ATSC MGT"},
    {0xC8, 0xC8, "ATSC VCT terrestrial"},
    {0xC9, 0xC9, "ATSC VCT cable"},
    {0xCA, 0xCA, "ATSC RRT"},
    {0xCB, 0xCB, "ATSC EIT"},
    {0xCC, 0xCC, "ATSC ETT"},
    {0xCD, 0xCD, "ATSC STT"},
};

}  // namespace

std::string tableName(std::uint8_t tableId) {
  for (const Range& range : kNames)
    if (tableId >= range.first && tableId <= range.last) return range.name;
  char name[24];
  std::snprintf(name, sizeof name, "table id 0x%02X", static_cast<unsigned>(tableId));
  return name;
}

}  // namespace vantor::tables
