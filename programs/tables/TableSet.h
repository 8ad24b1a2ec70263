#pragma once

#include <optional>

#include "interface/records.h"

namespace vantor::tables {

/// The tables of one output, as they stand in a JSON table set or a capture. What is absent is not touched.
struct TableSet {
  std::optional<thrift::dvb_tables::PAT> pat;
  std::optional<thrift::dvb_tables::CAT> cat;
  std::optional<thrift::dvb_tables::NIT> nit;
};

}  // namespace vantor::tables
