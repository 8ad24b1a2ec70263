#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "interface/host.h"
#include "interface/host_default/log.h"

// What log_test looks at: a program that logs in the way its argument names. Stdout tells how far it is.

namespace {

struct LogsWhenDestroyed {
  const char* text;
  ~LogsWhenDestroyed() {
    if (enabled) log_function(HOST_LOG_ERROR, 0, "%s", text);
  }
  static inline bool enabled = false;
};
const LogsWhenDestroyed kBefore{"destroyed after the log's end"};

void everyLevel() {
  for (int level = HOST_LOG_ERROR; level <= HOST_LOG_DEBUG; ++level) log_function(level, 0, "level %d", level);
}

/// Fewer messages than the queue holds: none may be lost, however slow the machine.
void flood() {
  for (int i = 0; i < 400; ++i) {
    log_function(HOST_LOG_ERROR, 0, "[one] Failed to send");
    log_function(HOST_LOG_ERROR, 0, "[two] Failed to send");
  }
}

/// The same below the level that is held back.
void warnings() {
  for (int i = 0; i < 100; ++i) log_function(HOST_LOG_WARNING, 0, "[one] CAT already cleared");
}

void threads() {
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 8; ++writer)
    writers.emplace_back([writer] {
      for (int i = 0; i < 100; ++i) log_function(HOST_LOG_ERROR, 0, "writer %d message %d", writer, i);
    });
  for (auto& writer : writers) writer.join();
}

/// More than pipe and queue hold.
void slowReader() {
  const std::string filling(1000, '.');
  for (int i = 0; i < 5000; ++i) log_function(HOST_LOG_ERROR, 0, "message %d %s", i, filling.c_str());
  std::cout << "all logged" << std::endl;
}

void contexts() {
  log_function(HOST_LOG_ERROR, 0, "of none");
  log_context("one");
  log_function(HOST_LOG_ERROR, 0, "Unable to open socket.");
  log_function(HOST_LOG_ERROR, 0, "[one] PMT not found");
  log_function(HOST_LOG_ERROR, 0, "[onerous] PMT not found");
  std::thread([] { log_function(HOST_LOG_ERROR, 0, "of another thread"); }).join();
  const char* const before = log_context("two");
  log_function(HOST_LOG_ERROR, 0, "within %s", before);
  log_context(nullptr);
  log_function(HOST_LOG_ERROR, 0, "of none again");
}

void staticDestruction() {
  LogsWhenDestroyed::enabled = true;
  log_function(HOST_LOG_ERROR, 0, "first");
  static const LogsWhenDestroyed after{"destroyed before the log's end"};
}

/// Forks while the log's thread is at work on a message; an alarm ends a child that waits for what is gone.
void forkedChildren() {
  for (int i = 0; i < 50; ++i) {
    log_function(HOST_LOG_WARNING, 0, "parent %d", i);
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      log_function(HOST_LOG_WARNING, 0, "child %d", i);
      std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (status != 0) log_function(HOST_LOG_ERROR, 0, "child %d ended with %d", i, status);
  }
}

void leftOut() {
  vantor::leaveOutOfLog("said elsewhere");
  log_context("one");
  log_function(HOST_LOG_ERROR, 0, "said %s", "elsewhere");
  log_function(HOST_LOG_ERROR, 0, "said elsewhere as well");
  std::thread([] { log_function(HOST_LOG_WARNING, 0, "said elsewhere"); }).join();
  vantor::leaveOutOfLog(nullptr);
  log_function(HOST_LOG_ERROR, 0, "said elsewhere");
}

void longMessage() { log_function(HOST_LOG_ERROR, 0, "%s", std::string(5000, 'x').c_str()); }

/// The line of a thread's status file that begins with `key`.
std::string threadStatus(const std::string& thread, const std::string& key) {
  std::ifstream file("/proc/self/task/" + thread + "/status");
  for (std::string line; std::getline(file, line);)
    if (line.rfind(key, 0) == 0) return line;
  return {};
}

/// Logs first from a real-time thread, then prints policy and blocked signals of all threads that has brought.
void realTimeThread() {
  const auto tasks = [] {
    std::set<std::string> names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
      names.insert(task.path().filename());
    return names;
  };
  std::thread([&] {
    sched_param parameters{};
    parameters.sched_priority = 50;
    if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters) != 0) {
      std::cout << "no real-time priority" << std::endl;
      return;
    }
    const auto before = tasks();
    log_function(HOST_LOG_ERROR, 0, "first");
    for (const auto& task : tasks()) {
      const int policy = sched_getscheduler(std::stoi(task));
      const std::string blocked = threadStatus(task, "SigBlk");
      const bool ended = policy < 0 || blocked.empty();
      if (before.count(task) == 0 && !ended) std::cout << "policy " << policy << ' ' << blocked << std::endl;
    }
  }).join();
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string, void (*)()> ways{
      {"levels", everyLevel},
      {"levels up to info", [] { vantor::setLogThreshold(HOST_LOG_INFO), everyLevel(); }},
      {"levels up to -5", [] { vantor::setLogThreshold(-5), everyLevel(); }},
      {"levels up to 99", [] { vantor::setLogThreshold(99), everyLevel(); }},
      {"levels from 0 to 9",
       [] {
         for (int level : {0, 9}) log_function(level, 0, "level %d", level);
       }},
      {"flood", flood},
      {"flood that has ended", [] { flood(), std::cout << "flooded" << std::endl, std::cin.get(); }},
      {"warnings", warnings},
      {"threads", threads},
      {"contexts", contexts},
      {"slow reader", slowReader},
      {"static destruction", staticDestruction},
      {"forked children", forkedChildren},
      {"left out", leftOut},
      {"long message", longMessage},
      {"real-time thread", realTimeThread},
  };
  ways.at(argc > 1 ? argv[1] : "")();
}
