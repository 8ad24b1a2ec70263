#pragma once

#include "interface/host.h"

namespace vantor {

/// Sets the highest level that the default log_function still writes, HOST_LOG_ERROR to HOST_LOG_DEBUG; other
/// values mean the nearest of these. Until the first call the environment variable SERVICEMUX_LOG decides, a
/// level's number or its name, and without it HOST_LOG_NOTICE. May be called from any thread.
SERVICEMUX_HOST void setLogThreshold(int level);

/// Has the default log_function leave out every message of exactly this text, from any thread, because the program
/// says it in words of its own. `text` must live as long as the process; null leaves out nothing. May be called
/// from any thread.
SERVICEMUX_HOST void leaveOutOfLog(const char* text);

}  // namespace vantor
