#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interface/records.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/sections/Section.h"

/// NIT actual, NIT other and BAT, which are laid out alike: EN 300 468 clauses 5.2.1 and 5.2.2.

namespace vantor::tables {

/// `id` is the field that says which network or bouquet it is of.
thrift::dvb_tables::NIT readNit(const JsonValue& value, const char* id);
OrderedJson writeNit(const thrift::dvb_tables::NIT& nit, const char* id);

/// True when every length inside the section is right.
bool isWellFormedNit(const Section& section);

/// The table that the sections of one version make; all of them are well formed.
thrift::dvb_tables::NIT decodeNit(const std::vector<Section>& sections);

/// The sections of a table that passes its check, with this table_id.
std::vector<std::string> sectionsOfNit(const thrift::dvb_tables::NIT& nit, std::uint8_t tableId);

}  // namespace vantor::tables
