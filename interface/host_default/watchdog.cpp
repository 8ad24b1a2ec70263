#include "interface/host.h"

// A machine without a watchdog: every task is accepted and none is watched.

unsigned int watchdog_register_task(void) { return 1; }

int watchdog_unregister_task(unsigned int) { return 0; }

void thread_alive(unsigned int) {}
