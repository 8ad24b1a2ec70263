#pragma once

#include <cstdint>
#include <vector>

#include "programs/tables/Section.h"

/// The PIDs that a section points at and on which sections are to be found. Sections whose lengths are wrong point
/// at nothing beyond the fault.

namespace vantor::tables {

/// Network and program map PIDs of a PAT section.
std::vector<std::uint16_t> pidsOfPat(const Section& section);
/// EMM PIDs of a CAT section.
std::vector<std::uint16_t> pidsOfCat(const Section& section);
/// ECM PIDs of a PMT section.
std::vector<std::uint16_t> pidsOfPmt(const Section& section);
/// PIDs of an MGT section's tables.
std::vector<std::uint16_t> pidsOfMgt(const Section& section);

}  // namespace vantor::tables
