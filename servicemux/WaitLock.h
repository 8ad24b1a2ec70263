#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include "servicemux/guarded.h"

namespace vantor {

/// Holds a mutex while it lives, except while it waits on a condition variable. boost::unique_lock does so too, but
/// the thread-safety analysis does not follow that one.
class SERVICEMUX_SCOPED_LOCK WaitLock : public boost::unique_lock<boost::mutex> {
 public:
  explicit WaitLock(boost::mutex& mutex) SERVICEMUX_ACQUIRE(mutex) : unique_lock(mutex) {}
  WaitLock(const WaitLock&) = delete;
  WaitLock& operator=(const WaitLock&) = delete;
  ~WaitLock() SERVICEMUX_RELEASE() = default;
};

}  // namespace vantor
