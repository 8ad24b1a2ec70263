#pragma once

/// The records a controlling process hands in, generated from the Thrift IDL at build time.

#include <map>

// The generated classes carry no visibility of their own, and they live in a library of their own.
#pragma GCC visibility push(default)
#include "dvb_tables_types.h"
#include "general_types.h"
#include "simulcrypt_types.h"
#pragma GCC visibility pop

namespace vantor {

/// EIT subtables, each by its table_id and service. The keys only tell the order in which they are taken.
using EITRecords = std::map<int, std::map<int, thrift::dvb_tables::EIT>>;

}  // namespace vantor
