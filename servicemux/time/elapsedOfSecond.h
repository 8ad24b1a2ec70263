#pragma once

#include <boost/chrono.hpp>

namespace vantor {

/// How much of the current UTC second is over, by the clock that tells the time of the STT.
[[nodiscard]] boost::chrono::nanoseconds elapsedOfSecond();

}  // namespace vantor
