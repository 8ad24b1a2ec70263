#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

/// What the programs of the wire benchmarks share.

/// Makes the kernel kill this process when the one that started it ends, in whatever way.
void dieWithParent();

/// CLOCK_REALTIME in ns, the clock of the kernel's time stamps.
std::int64_t realtimeNow();

/// What threads have used so far.
struct Usage {
  std::int64_t cpu = 0;        ///< ns on a processor
  std::int64_t voluntary = 0;  ///< times that one went to sleep, and so was woken
  std::int64_t preempted = 0;  ///< times that one had to give way
};

/// Of all threads that live now, by their names without the digits at the end.
std::map<std::string, Usage> usageNow();

/// Resident memory in bytes.
std::int64_t residentBytes();

/// Memory taken from the heap in bytes.
std::int64_t heapBytes();

/// What happened between two points.
struct Span {
  std::int64_t begin;  ///< realtimeNow()
  std::int64_t end;
  std::map<std::string, Usage> before;
  std::map<std::string, Usage> after;
};

/// Sleeps for so long in the middle of the work of others, and notes what they used meanwhile.
Span observe(double seconds);

nlohmann::json toJson(const Span& span);
