#pragma once

#include <string>

#include "interface/psi/tableTypes.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/review/Finding.h"

/// Places of tables, and their names for people.

namespace vantor::tables {

TablePlace placeInPat(std::size_t program);
TablePlace placeOf(const ProgramMap& map, const std::string& rest = "");
TablePlace placeOfSdtActual(const std::string& rest = "");
TablePlace placeOfSdtOther(const thrift::dvb_tables::SDT& sdt, const std::string& rest = "");
TablePlace placeOfEvents(const thrift::dvb_tables::EIT& eit);

std::string nameOf(const ProgramMap& map);
std::string nameOf(const thrift::dvb_tables::EIT& eit);

}  // namespace vantor::tables
