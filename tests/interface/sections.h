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
std::vector<Bytes> sectionsOf(dvbpsi_pmt_t& pmt);
std::vector<Bytes> sectionsOf(dvbpsi_atsc_mgt_t& mgt);
std::vector<Bytes> sectionsOf(dvbpsi_atsc_vct_t& vct);
/// The record tells how they are laid out.
std::vector<Bytes> sectionsOf(dvbpsi_sdt_t& sdt, const vantor::thrift::dvb_tables::SDT& record);
std::vector<Bytes> sectionsOf(dvbpsi_eit_t& eit, const vantor::thrift::dvb_tables::EIT& record);

/// What keeps these from being the sections of one table as it may be sent, empty when nothing does: lengths and
/// CRCs, at most 1024 bytes each (an EIT or MGT: 4096), at most 256 of them, headers alike but for section_number,
/// which counts up to last_section_number.
std::string faultIn(const std::vector<Bytes>& sections);
/// The same for one section, its numbers aside.
std::string faultIn(const Bytes& section);

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
int pcrPidIn(const Bytes& pmt);
Descriptors programDescriptorsIn(const Bytes& pmt);
std::vector<vantor::thrift::dvb_tables::PMTStream> streamsIn(const Bytes& pmt);
Descriptors ownDescriptorsIn(const std::vector<Bytes>& mgt);
int originalNetworkIdIn(const Bytes& sdt);
std::vector<vantor::thrift::dvb_tables::SDTService> servicesIn(const std::vector<Bytes>& sdt);
std::vector<vantor::thrift::dvb_tables::EITEvent> eventsIn(const std::vector<Bytes>& eit);
