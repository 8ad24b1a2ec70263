#pragma once

#include <cstdint>

/// Simulated time is counted in nanoseconds.

constexpr std::int64_t kMillisecond = 1000000;
constexpr std::int64_t kSecond = 1000 * kMillisecond;
