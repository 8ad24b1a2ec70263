#include "programs/servicemux/realTimeRights.h"

#include <pthread.h>

#include <cstring>
#include <thread>

#include "interface/host_default/log.h"

namespace vantor::cli {

namespace {

constexpr int kHighestWanted = 99;  // by the thread that sends

/// The errno of asking for the priority, 0 when it is granted. Only an attempt tells: limits and groups of
/// processes have a say in it beside the capability.
int askForPriority() {
  int error = 0;
  std::thread([&error] {
    sched_param parameters{};
    parameters.sched_priority = kHighestWanted;
    error = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
  }).join();
  return error;
}

}  // namespace

std::string tellOfRealTimeRightsOnce() {
  const int error = askForPriority();
  if (error == 0) return "";
  leaveOutOfLog("Failed to set prooducer sched params!");
  return std::string("no real-time priority (CAP_SYS_NICE): ") + std::strerror(error) +
         "; on a busy machine packets leave late";
}

}  // namespace vantor::cli
