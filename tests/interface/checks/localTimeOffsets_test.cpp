#include "interface/checks/localTimeOffsets.h"

#include <gmock/gmock.h>

#include "tests/interface/checks/refuses.h"

using vantor::Refusal;
using vantor::thrift::dvb_tables::LocalTimeOffset;

namespace {

using Records = std::vector<LocalTimeOffset>;

LocalTimeOffset germany() {
  LocalTimeOffset record;
  record.country_code = "DEU";
  record.local_time_offset = 0x0100;
  record.time_of_change = 0xEA60010000;
  record.next_time_offset = 0x0200;
  return record;
}

/// The answer for a TOT of two entries, of which the second differs.
template <typename Set>
std::optional<Refusal> with(Set set) {
  Records records{germany(), germany()};
  set(records[1]);
  return check(records);
}

}  // namespace

TEST(LocalTimeOffsetCheck, TotNamesEntryFieldAndValue) {
  EXPECT_THAT(check(Records{}), passes());
  EXPECT_THAT(with([](LocalTimeOffset&) {}), passes());
  EXPECT_THAT(with([](LocalTimeOffset& r) { r.country_code = "DE"; }),
              refuses("/1/country_code", "2 bytes", "are not the 3 of a country code"));
  EXPECT_THAT(with([](LocalTimeOffset& r) { r.country_region_id = 63; }), passes());
  EXPECT_THAT(with([](LocalTimeOffset& r) { r.country_region_id = 64; }),
              refuses("/1/country_region_id", "64", "is above 0x3F"));
  EXPECT_THAT(with([](LocalTimeOffset& r) { r.local_time_offset_polarity = 1; }), passes());
  EXPECT_THAT(with([](LocalTimeOffset& r) { r.local_time_offset_polarity = 2; }),
              refuses("/1/local_time_offset_polarity", "2", "is above 0x1"));
  EXPECT_THAT(with([](LocalTimeOffset& r) { r.time_of_change = -1; }),
              refuses("/1/time_of_change", "-1", "is negative"));
}

TEST(LocalTimeOffsetCheck, TotHasRoomFor19Entries) {
  EXPECT_THAT(check(Records(19, germany())), passes());
  EXPECT_THAT(check(Records(20, germany())), refuses("", "20", "are more than the 19 that a TOT has room for"));
}

TEST(LocalTimeOffsetCheck, SttNeedsNeitherCountryNorRegion) {
  LocalTimeOffset record;
  EXPECT_THAT(check(record), passes());
  record.local_time_offset_polarity = 7;  // anything but 0 is west
  EXPECT_THAT(check(record), passes());
  record.time_of_change = 0x10000000000;
  EXPECT_THAT(check(record), refuses("/time_of_change", "1099511627776", "is above 0xFFFFFFFFFF"));
}
