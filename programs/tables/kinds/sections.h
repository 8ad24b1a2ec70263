#pragma once

#include <cstdint>

#include "interface/records.h"
#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

/// Whole sections of whatever table: what no other kind takes from a capture. A subtable is one of a PID.
const TableKind& sectionsKind();

/// Takes a subtable out of the set, if it has its sections.
void dropSections(const SubtableKey& key, TableSet& set);

[[nodiscard]] bool hasSections(const SubtableKey& key, const TableSet& set);

/// Hands checked sections to the library. The classic timing refuses them on a PID that has other tables: that is
/// logged, and returns false.
[[nodiscard]] bool sendSections(const thrift::dvb_tables::Sections& sections, serviceMux& mux);

/// True for a table that tells of one moment, so that only the latest is of use: TDT, RST, TOT, DIT, splice info.
[[nodiscard]] bool isMomentary(std::uint8_t tableId);

}  // namespace vantor::tables
