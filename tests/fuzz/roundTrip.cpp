#include "tests/fuzz/roundTrip.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "interface/host.h"
#include "programs/tables/kinds/nitForm.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/streams.h"

/// Converters log what they refuse, thousands of times a second here.
void log_function(int, int, const char*, ...) {}

namespace vantor::fuzz {

namespace {

constexpr int kMaxVersion = 31;  // above, the sections carry another one
constexpr unsigned kSdtOtherTableId = 0x46;

tables::Capture readBack(const std::vector<std::string>& sections) {
  std::string file;
  for (const auto& section : sections) file += section;
  return tables::readSections(file);
}

template <typename Record>
void requireSectionsRoundTrip(const tables::TableSet& set, const std::optional<Record> tables::TableSet::*member) {
  const std::optional<Record>& record = set.*member;
  if (!record || record->version_number > kMaxVersion) return;
  const auto capture = readBack(testing::sectionsOf(*record));
  require(capture.faults.empty(), "the sections of a table are broken");
  require(capture.tables.*member == record, "a table comes back from its sections as another one");
}

/// A mark that a transport stream begins a section may be one that makes no difference, and other sections may have
/// the same descriptors by chance, so the sections have to agree.
void requireNetworkRoundTrips(const thrift::dvb_tables::NIT& nit, std::uint8_t tableId) {
  if (nit.version_number > kMaxVersion) return;
  const auto sections = tables::sectionsOfNit(nit, tableId);
  const tables::TableSet back = readBack(sections).tables;
  std::vector<std::string> again;
  if (tableId == 0x40) {
    require(back.nit.has_value(), "the sections of a NIT make no table");
    again = tables::sectionsOfNit(*back.nit, tableId);
  } else {
    const auto& tables = tableId == 0x41 ? back.nitOthers : back.bats;
    require(tables.size() + back.sections.size() == 1, "the sections of a network make no table");
    again = tables.empty() ? back.sections[0].sections : tables::sectionsOfNit(tables[0], tableId);
  }
  require(again == sections, "a NIT or BAT comes back from its sections as another one");
}

/// Whether an MGT leaves nothing to the other tables of its set.
bool isSettled(const thrift::dvb_tables::MGT& mgt) {
  return std::all_of(mgt.tables.begin(), mgt.tables.end(), [](const thrift::dvb_tables::MGTTable& table) {
    return table.number_bytes >= 0 && table.table_type_version_number >= 0;
  });
}

void requireProgramMapsRoundTrip(const tables::TableSet& set) {
  for (const auto& map : set.pmts) {
    if (map.pmt.version_number > kMaxVersion) continue;
    const auto capture = readBack(testing::sectionsOf(map.pmt));
    require(capture.tables.pmts.size() == 1 && capture.tables.pmts[0].pmt == map.pmt,
            "a PMT comes back from its section as another one");
  }
}

/// A mark that a service begins a section may be one that makes no difference, so the sections have to agree.
void requireServicesRoundTrip(const thrift::dvb_tables::SDT& sdt) {
  if (sdt.version_number > kMaxVersion) return;
  const auto sections = testing::sectionsOf(sdt, kSdtOtherTableId);
  const auto capture = readBack(sections);
  require(capture.tables.sdtOthers.size() == 1, "the sections of an SDT make no table");
  require(testing::sectionsOf(capture.tables.sdtOthers[0], kSdtOtherTableId) == sections,
          "an SDT comes back from its sections as another one");
}

/// The events of each section that has any.
std::vector<std::string> eventsIn(const std::vector<std::string>& sections) {
  constexpr std::size_t kHead = 14;
  constexpr std::size_t kCrc = 4;
  std::vector<std::string> events;
  for (const auto& section : sections)
    if (section.size() > kHead + kCrc) events.push_back(section.substr(kHead, section.size() - kHead - kCrc));
  return events;
}

/// Packed sections may happen to be what the standard asks for, so that only their contents have to agree.
void requireEventsRoundTrip(const thrift::dvb_tables::EIT& eit,
                            const std::vector<thrift::dvb_tables::EIT> tables::TableSet::*member) {
  if (eit.version_number > kMaxVersion) return;
  const auto sections = testing::sectionsOf(eit);
  const auto capture = readBack(sections);
  require((capture.tables.*member).size() == 1, "the sections of an EIT make no table");
  require(eventsIn(testing::sectionsOf((capture.tables.*member)[0])) == eventsIn(sections),
          "an EIT comes back from its sections as another one");
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
  require(back.pat == set.pat && back.cat == set.cat && back.nit == set.nit && back.pmts == set.pmts &&
              back.sdtActual == set.sdtActual && back.sdtOthers == set.sdtOthers && back.eitPf == set.eitPf &&
              back.eitSchedule == set.eitSchedule && back.nitOthers == set.nitOthers && back.bats == set.bats &&
              back.sections == set.sections && back.time == set.time && back.mgt == set.mgt &&
              back.terrestrialVct == set.terrestrialVct && back.cableVct == set.cableVct && back.stt == set.stt &&
              back.periods == set.periods,
          "a table set comes back from JSON as another one");
  requireSectionsRoundTrip(set, &tables::TableSet::pat);
  requireSectionsRoundTrip(set, &tables::TableSet::cat);
  if (set.nit) requireNetworkRoundTrips(*set.nit, 0x40);
  for (const auto& nit : set.nitOthers) requireNetworkRoundTrips(nit, 0x41);
  for (const auto& bat : set.bats) requireNetworkRoundTrips(bat, 0x4A);
  requireProgramMapsRoundTrip(set);
  if (set.mgt && isSettled(*set.mgt)) requireSectionsRoundTrip(set, &tables::TableSet::mgt);
  requireSectionsRoundTrip(set, &tables::TableSet::terrestrialVct);
  requireSectionsRoundTrip(set, &tables::TableSet::cableVct);
  if (set.sdtActual) requireServicesRoundTrip(*set.sdtActual);
  for (const auto& sdt : set.sdtOthers) requireServicesRoundTrip(sdt);
  for (const auto& eit : set.eitPf) requireEventsRoundTrip(eit, &tables::TableSet::eitPf);
  for (const auto& eit : set.eitSchedule) requireEventsRoundTrip(eit, &tables::TableSet::eitSchedule);
}

}  // namespace vantor::fuzz
