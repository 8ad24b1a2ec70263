#pragma once

#include "programs/monitor/Report.h"
#include "programs/tables/json/writeJson.h"

namespace vantor::monitor {

/// A report for other programs. Times are in ms, rates in kbit/s; what is not known is null.
[[nodiscard]] tables::OrderedJson reportJson(const Report& report);

}  // namespace vantor::monitor
