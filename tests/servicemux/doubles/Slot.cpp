#include "tests/servicemux/doubles/Slot.h"

#include "interface/host.h"

namespace {

int slot = 0;

}  // namespace

Slot::Slot(int number) { slot = number; }

Slot::~Slot() { slot = 0; }

int get_cached_module_slot(void) { return slot; }
