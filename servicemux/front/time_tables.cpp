#include "servicemux/front/serviceMux.h"
#include "servicemux/time/TimeTables.h"

namespace vantor {

// By value, as the interface has it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void serviceMux::setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s> offsets) {
  timeTables->setLocalTimeOffsetTable(offsets);
}

void serviceMux::clearLocalTimeOffsetTable() { timeTables->clearLocalTimeOffsetTable(); }

}  // namespace vantor
