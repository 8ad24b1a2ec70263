#pragma once

#include <optional>
#include <vector>

#include "tests/interface/sections.h"

/// What libdvbpsi's decoders make of sections that they get as packets; nothing when they see no whole table.

std::optional<vantor::thrift::dvb_tables::PAT> decodedPat(const std::vector<Bytes>& sections);
std::optional<vantor::thrift::dvb_tables::CAT> decodedCat(const std::vector<Bytes>& sections);
std::optional<vantor::thrift::dvb_tables::NIT> decodedNit(const std::vector<Bytes>& sections);
