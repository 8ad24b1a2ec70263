#include "servicemux/output/FitReport.h"

#include <algorithm>
#include <utility>

#include "interface/host.h"
#include "interface/psi/tableTypes.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/output/RegistryOwner.h"

namespace vantor {

namespace {

constexpr std::size_t kMostTables = 100;  // in one report

}  // namespace

void FitReport::look() {
  const MuxerStatistics now = owner->outputMuxer()->statistics();
  const bool isChanging = std::exchange(seen, now.stretch) != now.stretch;
  if (isChanging || now.stretch == told) return;
  told = now.stretch;
  tell(now.stretch, now.required);
}

void FitReport::tell(double stretch, double required) const {
  const char* const name = owner->outputName().c_str();
  VBRmuxer& muxer = *owner->outputMuxer();
  if (stretch <= 1) {
    log_function(HOST_LOG_WARNING, 0, "[%s] All tables fit: %.1f kbit/s of %u", name, required, muxer.ceiling());
    return;
  }
  log_function(HOST_LOG_WARNING, 0, "[%s] All periods are %.3f times as long: the tables need %.1f kbit/s of %u",
               name, stretch, required, muxer.ceiling());
  std::vector<TableNeed> needs = muxer.needs();
  std::stable_sort(needs.begin(), needs.end(),
                   [](const TableNeed& a, const TableNeed& b) { return a.kbps > b.kbps; });
  for (std::size_t i = 0; i < std::min(needs.size(), kMostTables); ++i) {
    const std::string table = needs[i].hasSections ? psi::tableName(needs[i].key) : "packets without sections";
    log_function(HOST_LOG_WARNING, 0, "[%s] PID 0x%04x %s needs %.2f kbit/s: %zu sections every %u ms", name,
                 needs[i].pid, table.c_str(), needs[i].kbps, needs[i].sections, needs[i].period);
  }
  if (needs.size() > kMostTables)
    log_function(HOST_LOG_WARNING, 0, "[%s] %zu tables that need less are not named", name,
                 needs.size() - kMostTables);
}

}  // namespace vantor
