#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "interface/checks/Refusal.h"
#include "servicemux/export.h"
#include "servicemux/output/InsertionPeriods.h"

namespace vantor {

/// One of the periods that can be set, under the name that table sets, the command line and messages have for it.
struct PeriodField {
  const char* name;                       ///< like "sdt_actual"
  unsigned int InsertionPeriods::*value;  ///< ms
  unsigned int longest;                   ///< ms, more is refused
  unsigned int maximum = 0;  ///< ms, what a standard or the field's practice asks for at least; 0: none
  const char* source = "";   ///< who asks for it
};

constexpr std::size_t kPeriodFieldCount = 18;

/// All of them. The periods of null packets and of unknown table_ids have no name.
[[nodiscard]] SERVICEMUX_API const std::array<PeriodField, kPeriodFieldCount>& periodFields();

/// The one with this name, null when there is none.
[[nodiscard]] SERVICEMUX_API const PeriodField* findPeriodField(std::string_view name);

/// Why the period, in ms, cannot be set, if so.
[[nodiscard]] SERVICEMUX_API std::optional<Refusal> check(const PeriodField& field, std::int64_t period);

/// Why the periods cannot be set, if so: the first of the named ones that cannot.
[[nodiscard]] SERVICEMUX_API std::optional<Refusal> check(const InsertionPeriods& periods);

/// Which tables would come more seldom than a standard asks for, one line each: "pat: 600 ms is above the 500 ms of
/// TR 101 290".
[[nodiscard]] SERVICEMUX_API std::vector<std::string> warningsOf(const InsertionPeriods& periods);

}  // namespace vantor
