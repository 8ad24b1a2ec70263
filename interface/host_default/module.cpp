#include "interface/host.h"

int get_cached_module_slot(void) { return 0; }
