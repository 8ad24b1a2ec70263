#pragma once

#include <functional>
#include <string_view>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// Reads sections that lie back to back. Throws InputError when the bytes do not divide into sections.
void readSectionFile(std::string_view bytes, const std::function<void(const Section&)>& onSection,
                     const std::function<void(SectionFault)>& onFault);

}  // namespace vantor::tables
