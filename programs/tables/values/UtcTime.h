#pragma once

#include <chrono>

namespace vantor::tables {

using UtcTime = std::chrono::system_clock::time_point;

}  // namespace vantor::tables
