#pragma once

#include <vector>

#include "interface/records.h"
#include "programs/tables/sections/Section.h"

namespace vantor::tables {

// EN 300 468 clause 5.2.4: transport_stream_id, original_network_id, segment_last_section_number, last_table_id.
constexpr std::size_t kEitHead = 6;
constexpr std::size_t kEitSegmentLast = 4;
constexpr std::size_t kEitLastTableId = 5;
constexpr std::size_t kEitEventHead = 12;

/// The record of an EIT subtable, from well-formed sections of one version in the order of their numbers. The
/// library's standard sectioning of it gives these sections back where they follow the rules of clause 5.2.4,
/// packed sectioning gives their contents back where they do not. Missing sections, which are those of a capture
/// that ends too soon, become empty ones.
thrift::dvb_tables::EIT decodeEit(const std::vector<Section>& sections);

}  // namespace vantor::tables
