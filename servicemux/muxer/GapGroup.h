#pragma once

#include <boost/chrono.hpp>
#include <cstdint>

namespace vantor {

/// The sections that have to keep a distance from one another: those of one PID, table_id and table_id_extension,
/// whatever stream or service they describe.
struct GapGroup {
  boost::chrono::steady_clock::time_point end;  ///< of the section sent last
  unsigned int users = 0;                       ///< tables on air, and sections under way
  double load = 0;                              ///< what part of the time their sections and distances take
};

}  // namespace vantor
