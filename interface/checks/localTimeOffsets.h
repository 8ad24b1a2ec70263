#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "interface/checks/Refusal.h"
#include "interface/dvbpsi.h"
#include "interface/records.h"

namespace vantor::thrift::dvb_tables {

/// Entries of the one descriptor that a TOT has.
constexpr std::size_t kMaxLocalTimeOffsets = DVBPSI_LOCAL_TIME_OFFSET_DR_MAX;

/// Bytes of a country_code, EN 300 468 clause 6.2.20.
constexpr std::size_t kCountryCodeSize = 3;

/// Why an STT cannot be made of the record, if so. It tells neither country nor region.
[[nodiscard]] std::optional<Refusal> check(const LocalTimeOffset& record);

/// Why a TOT cannot carry the records, if so; paths begin with the number of one. No records at all stand for a TDT
/// alone.
[[nodiscard]] std::optional<Refusal> check(const std::vector<LocalTimeOffset>& records);

}  // namespace vantor::thrift::dvb_tables
