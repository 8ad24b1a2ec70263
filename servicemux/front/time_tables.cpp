#include "servicemux/front/serviceMux.h"
#include "servicemux/time/TimeTables.h"

namespace vantor {

void serviceMux::setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s> offsets) {
  timeTables->setLocalTimeOffsetTable(offsets);
}

void serviceMux::clearLocalTimeOffsetTable() { timeTables->clearLocalTimeOffsetTable(); }

}  // namespace vantor
