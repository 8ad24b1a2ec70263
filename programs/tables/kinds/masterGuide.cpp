#include "programs/tables/kinds/masterGuide.h"

#include <cstdio>

#include "interface/converters/owned.h"
#include "interface/converters/t2dVCT.h"
#include "interface/psi/section.h"
#include "interface/psi/tableTypes.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/mgt.h"
#include "servicemux/sections/sections.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::MGTTable;
using thrift::dvb_tables::VCT;

/// ATSC A/65 table 6.3, those of the VCTs.
struct VctType {
  std::optional<VCT> TableSet::*member;
  std::int32_t tableType;
  bool current;
};
constexpr VctType kVctTypes[] = {
    {&TableSet::terrestrialVct, 0x0000, true},
    {&TableSet::terrestrialVct, 0x0001, false},
    {&TableSet::cableVct, 0x0002, true},
    {&TableSet::cableVct, 0x0003, false},
};

/// The table of this table_type; null when the set has none.
const VCT* find(const TableSet& set, std::int32_t tableType) {
  for (const VctType& type : kVctTypes) {
    const std::optional<VCT>& vct = set.*type.member;
    if (type.tableType == tableType && vct && vct->current_next_indicator == type.current) return &*vct;
  }
  return nullptr;
}

/// All its sections together.
std::int64_t sizeOnAir(const VCT& record) {
  std::int64_t bytes = 0;
  const VctTable table(t2dVCT(record));
  const SectionChain sections = table ? generateSections(*table) : nullptr;
  for (const auto* section = sections.get(); section != nullptr; section = section->p_next)
    bytes += static_cast<std::int64_t>(kSectionHeaderSize) + section->i_length;
  return bytes;
}

std::string hexType(std::int32_t tableType) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(tableType));
  return text;
}

void settle(MGTTable& entry, const VCT& vct) {
  if (entry.table_type_version_number == kOfTheSet && vct.version_number != kAutoVersion)
    entry.table_type_version_number = static_cast<std::int16_t>(versionOnAir(vct.version_number));
  if (entry.number_bytes == kOfTheSet) entry.number_bytes = sizeOnAir(vct);
}

void warnIfDifferent(const std::string& field, std::int64_t said, std::int64_t real,
                     std::vector<std::string>& warnings) {
  if (said != real)
    warnings.push_back(psi::kMgt.name + (": " + field) + " is " + std::to_string(said) +
                       ", but the table of this set has " + std::to_string(real));
}

}  // namespace

void settleMasterGuide(TableSet& set) {
  if (!set.mgt) return;
  for (std::size_t i = 0; i < set.mgt->tables.size(); ++i) {
    MGTTable& entry = set.mgt->tables[i];
    if (entry.table_type_version_number != kOfTheSet && entry.number_bytes != kOfTheSet) continue;
    const VCT* const vct = find(set, entry.table_type);
    if (vct == nullptr)
      throw InputError(
          mgtKind().path() + "/tables/" + std::to_string(i) +
          ": table_type_version_number and number_bytes are needed, the set has no table of table_type " +
          hexType(entry.table_type));
    settle(entry, *vct);
  }
}

std::vector<std::string> masterGuideWarnings(const TableSet& set) {
  std::vector<std::string> warnings;
  for (const MGTTable& entry : set.mgt->tables) {
    const VCT* const vct = find(set, entry.table_type);
    if (vct == nullptr) continue;
    const std::string of = " of table_type " + hexType(entry.table_type);
    if (vct->version_number != kAutoVersion)
      warnIfDifferent("table_type_version_number" + of, entry.table_type_version_number,
                      versionOnAir(vct->version_number), warnings);
    else if (entry.table_type_version_number != kOfTheSet)
      warnings.push_back(psi::kMgt.name + (": table_type_version_number" + of) +
                         " is given, but the versions of the table of this set are counted");
    warnIfDifferent("number_bytes" + of, entry.number_bytes, sizeOnAir(*vct), warnings);
  }
  return warnings;
}

}  // namespace vantor::tables
