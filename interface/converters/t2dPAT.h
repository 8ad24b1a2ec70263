#pragma once

#include <optional>

#include "interface/checks/Refusal.h"
#include "interface/dvbpsi.h"
#include "interface/records.h"

namespace vantor::thrift::dvb_tables {

/// Why the record cannot be carried on the wire, if it cannot.
[[nodiscard]] std::optional<Refusal> check(const PAT& record);

/// Makes a libdvbpsi table of the record. The caller frees it with dvbpsi_pat_delete. Returns null when the record
/// cannot be carried on the wire, after an error in the log that names the field and its value. A version above
/// 31 stays above 31, for the caller to replace.
dvbpsi_pat_t* t2dPAT(const PAT& record);

}  // namespace vantor::thrift::dvb_tables
