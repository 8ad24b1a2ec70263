#include "tests/fuzz/roundTrip.h"

#include <cstdio>
#include <cstdlib>

#include "interface/host.h"
#include "programs/tables/Capture.h"
#include "programs/tables/TableKind.h"
#include "programs/tables/tableSetJson.h"
#include "tests/programs/streams.h"

/// Converters log what they refuse, thousands of times a second here.
void log_function(int, int, const char*, ...) {}

namespace vantor::fuzz {

namespace {

constexpr int kMaxVersion = 31;  // above, the sections carry another one

tables::Capture readBack(const std::vector<std::string>& sections) {
  std::string file;
  for (const auto& section : sections) file += section;
  return tables::readSections(file);
}

template <typename Record>
void requireSectionsRoundTrip(const tables::TableKind& kind, const tables::TableSet& set,
                              const std::optional<Record> tables::TableSet::*member) {
  const std::optional<Record>& record = set.*member;
  if (!record || record->version_number > kMaxVersion || !kind.isConvertible(set)) return;
  const auto capture = readBack(testing::sectionsOf(*record));
  require(capture.faults.empty(), "the sections of a table are broken");
  require(capture.tables.*member == record, "a table comes back from its sections as another one");
}

}  // namespace

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

void requirePrintable(std::string_view message) {
  require(!message.empty(), "an error without a message");
  for (const char c : message)
    require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "a control character in an error message");
}

void requireRoundTrips(const tables::TableSet& set) {
  const tables::TableSet back = tables::readTableSet(tables::writeTableSet(set));
  require(back.pat == set.pat && back.cat == set.cat && back.nit == set.nit,
          "a table set comes back from JSON as another one");
  requireSectionsRoundTrip(tables::patKind(), set, &tables::TableSet::pat);
  requireSectionsRoundTrip(tables::catKind(), set, &tables::TableSet::cat);
  requireSectionsRoundTrip(tables::nitKind(), set, &tables::TableSet::nit);
}

}  // namespace vantor::fuzz
