#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interface/dvbpsi.h"
#include "interface/records.h"

/// Sections as bytes, generated as the library does and read back without libdvbpsi.

using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> sectionsOf(dvbpsi_pat_t& pat);
std::vector<Bytes> sectionsOf(dvbpsi_cat_t& cat);
std::vector<Bytes> sectionsOf(dvbpsi_nit_t& nit);

/// What keeps these from being the sections of one table as it may be sent, empty when nothing does: lengths and
/// CRCs, at most 1024 bytes each, at most 256 of them, headers alike but for section_number, which counts up to
/// last_section_number.
std::string faultIn(const std::vector<Bytes>& sections);

/// Fields of a section's header, ISO/IEC 13818-1 table 2-30.
int tableId(const Bytes& section);
int extension(const Bytes& section);
int version(const Bytes& section);
bool isCurrent(const Bytes& section);

/// What sections without fault carry, all sections together.
using Descriptors = std::vector<vantor::thrift::dvb_tables::Descriptor>;
std::vector<vantor::thrift::dvb_tables::PATProgram> programsIn(const std::vector<Bytes>& pat);
Descriptors descriptorsIn(const std::vector<Bytes>& cat);
Descriptors networkDescriptorsIn(const std::vector<Bytes>& nit);
std::vector<vantor::thrift::dvb_tables::NITTransportStream> transportStreamsIn(const std::vector<Bytes>& nit);
