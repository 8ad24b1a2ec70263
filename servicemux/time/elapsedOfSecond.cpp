#include "servicemux/time/elapsedOfSecond.h"

#include <ctime>

namespace vantor {

boost::chrono::nanoseconds elapsedOfSecond() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return boost::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace vantor
