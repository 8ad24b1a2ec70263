#pragma once

#include <string>

namespace vantor::cli {

/// Finds out whether this process may have threads of real-time priority, as the library's send. When it may not,
/// returns a line that says so, and takes care that the log does not repeat it for each thread; else nothing.
std::string tellOfRealTimeRightsOnce();

}  // namespace vantor::cli
