#pragma once

#include <boost/chrono.hpp>
#include <vector>

/// The host's watchdog while it lives, for one producer: hands out a handle and remembers the calls. One at a time.
class Watchdog {
 public:
  Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog();

  struct Alive {
    unsigned int handle;
    boost::chrono::steady_clock::time_point time;
  };

  unsigned int handle = 5;   ///< what registering returns
  int unregisterResult = 0;  ///< what unregistering returns
  int registered = 0;        ///< calls
  std::vector<unsigned int> unregistered;
  std::vector<Alive> alive;
};
