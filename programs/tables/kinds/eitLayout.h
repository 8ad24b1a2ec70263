#pragma once

#include <vector>

#include "interface/records.h"
#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// The record of an EIT subtable, from well-formed sections of one version in the order of their numbers. The
/// library's standard sectioning of it gives these sections back where they follow the rules of clause 5.2.4,
/// packed sectioning gives their contents back where they do not. Missing sections, which are those of a capture
/// that ends too soon, become empty ones.
thrift::dvb_tables::EIT decodeEit(const std::vector<Section>& sections);

}  // namespace vantor::tables
