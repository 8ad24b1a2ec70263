#include "bench/wire/process.h"

#include <malloc.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

std::int64_t statusField(const std::filesystem::path& status, const std::string& field) {
  std::ifstream file(status);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(field + ':', 0) == 0) return std::stoll(line.substr(field.size() + 1));
  }
  throw std::runtime_error(status.string() + " has no " + field);
}

}  // namespace

void dieWithParent() {
  const pid_t parent = getppid();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent || parent == 1) std::_Exit(1);  // it was gone before the call
}

std::int64_t realtimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

std::map<std::string, Usage> usageNow() {
  std::map<std::string, Usage> usages;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    Usage& usage = usages[name.substr(0, name.find_last_not_of("0123456789") + 1)];
    std::int64_t cpu = 0;
    std::ifstream(task.path() / "schedstat") >> cpu;
    usage.cpu += cpu;
    usage.voluntary += statusField(task.path() / "status", "voluntary_ctxt_switches");
    usage.preempted += statusField(task.path() / "status", "nonvoluntary_ctxt_switches");
  }
  return usages;
}

std::int64_t residentBytes() { return statusField("/proc/self/status", "VmRSS") * 1024; }

std::int64_t heapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

Span observe(double seconds) {
  Span span{realtimeNow(), 0, usageNow(), {}};
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  span.after = usageNow();
  span.end = realtimeNow();
  return span;
}

nlohmann::json toJson(const Span& span) {
  nlohmann::json threads;
  for (const auto& [name, after] : span.after) {
    const Usage& before = span.before.at(name);
    threads[name] = {{"cpu", after.cpu - before.cpu},
                     {"voluntary", after.voluntary - before.voluntary},
                     {"preempted", after.preempted - before.preempted}};
  }
  return {{"begin", span.begin}, {"end", span.end}, {"threads", threads}};
}
