#pragma once

#include <cstddef>
#include <optional>

#include "interface/checks/Refusal.h"
#include "interface/dvbpsi.h"
#include "interface/records.h"

namespace vantor::thrift::dvb_tables {

/// UTF-16 code units of short_name on the wire, ATSC A/65 clause 6.3; a shorter one is filled up with zeros.
constexpr std::size_t kShortNameUnits = 7;

/// Why the record cannot be carried on the wire, if it cannot.
[[nodiscard]] std::optional<Refusal> check(const VCT& record);

/// Makes a libdvbpsi table of the record. The caller frees it with dvbpsi_atsc_DeleteVCT. Returns null when the
/// record cannot be carried on the wire, after an error in the log that names the field and its value. A version
/// above 31 stays above 31, for the caller to replace.
dvbpsi_atsc_vct_t* t2dVCT(const VCT& record);

}  // namespace vantor::thrift::dvb_tables
