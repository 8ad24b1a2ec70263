#include "servicemux/output/deviceInterface.h"

#include "interface/host.h"

namespace vantor {

std::string deviceInterface(std::int32_t vlan) {
  const int slot = get_cached_module_slot();
  switch (vlan) {
    case 1:
      return "ethInt.100";
    case 2:
      return "ethInt." + std::to_string(100 * slot + 11);
    case 3:
      return "ethInt." + std::to_string(100 * slot + 12);
    default:
      log_function(HOST_LOG_ERROR, 0, "[ServiceMux] No valid VLAN found! ");
      return "ethInt";
  }
}

}  // namespace vantor
