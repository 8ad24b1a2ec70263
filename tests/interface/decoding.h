#pragma once

#include <optional>
#include <vector>

#include "tests/interface/sections.h"

/// What libdvbpsi's decoders make of sections that they get as packets; nothing when they see no whole table.

std::optional<vantor::thrift::dvb_tables::PAT> decodedPat(const std::vector<Bytes>& sections);
std::optional<vantor::thrift::dvb_tables::CAT> decodedCat(const std::vector<Bytes>& sections);
std::optional<vantor::thrift::dvb_tables::NIT> decodedNit(const std::vector<Bytes>& sections);
std::optional<vantor::thrift::dvb_tables::PMT> decodedPmt(const std::vector<Bytes>& sections);
/// Without the MGT's own descriptors, which the decoder never takes.
std::optional<vantor::thrift::dvb_tables::MGT> decodedMgt(const std::vector<Bytes>& sections);
/// short_name without the zeros behind it.
std::optional<vantor::thrift::dvb_tables::VCT> decodedVct(const std::vector<Bytes>& sections);
std::optional<vantor::thrift::dvb_tables::SDT> decodedSdt(const std::vector<Bytes>& sections);
/// With last_table_id. The decoder sees a whole table when its sections come again, which they do here.
std::optional<vantor::thrift::dvb_tables::EIT> decodedEit(const std::vector<Bytes>& sections);
