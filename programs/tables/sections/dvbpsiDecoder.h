#pragma once

#include <vector>

#include "interface/converters/owned.h"
#include "programs/tables/sections/Section.h"

/// From whole sections to libdvbpsi's tables.

namespace vantor::tables {

// Each takes the sections of one whole version, well formed, and returns null when libdvbpsi makes no table of
// them. libdvbpsi reads beyond the end of a loop whose length is wrong: check before.

PatTable decodePat(const std::vector<Section>& sections);
CatTable decodeCat(const std::vector<Section>& sections);

}  // namespace vantor::tables
