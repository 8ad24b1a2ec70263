#include "servicemux/output/LogScope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "interface/dvbpsi.h"
#include "servicemux/front/serviceMux.h"
#include "tests/interface/RecordedLog.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/doubles/UtcClock.h"
#include "tests/servicemux/doubles/Watchdog.h"
#include "tests/servicemux/front/outputs.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vantor::LogScope;
using vantor::serviceMux;
using Message = RecordedLog::Message;

void say(const char* text) { log_function(HOST_LOG_INFO, 0, "%s", text); }

auto isFor(const char* output) { return Field(&Message::context, output); }

auto isFor(const char* output, const char* text) {
  return AllOf(isFor(output), Field(&Message::text, HasSubstr(text)));
}

struct Operation {
  const char* name;
  void (*call)(serviceMux& mux);
};

void PrintTo(const Operation& operation, std::ostream* stream) { *stream << operation.name; }

const Operation kOperations[] = {
    {"newPAT", [](serviceMux& mux) { mux.newPAT(makePat(1)); }},
    {"clearPAT", [](serviceMux& mux) { mux.clearPAT(); }},
    {"newCAT", [](serviceMux& mux) { mux.newCAT(makeCat(1)); }},
    {"clearCAT", [](serviceMux& mux) { mux.clearCAT(); }},
    {"newNIT", [](serviceMux& mux) { mux.newNIT(makeNit(1)); }},
    {"clearNIT", [](serviceMux& mux) { mux.clearNIT(); }},
    {"newPMT", [](serviceMux& mux) { mux.newPMT(makePmt(1, 1), 0x100); }},
    {"clearPMT", [](serviceMux& mux) { mux.clearPMT(1, 0x100); }},
    {"clearAllPMTs", [](serviceMux& mux) { mux.clearAllPMTs(); }},
    {"newSDTActual", [](serviceMux& mux) { mux.newSDTActual(makeSdt(1, 1, 1)); }},
    {"newSDTOthers", [](serviceMux& mux) { mux.newSDTOthers(makeSdt(1, 1, 1)); }},
    {"clearSDTActual", [](serviceMux& mux) { mux.clearSDTActual(); }},
    {"clearSDTOthers", [](serviceMux& mux) { mux.clearSDTOthers(1, 1); }},
    {"newEITpf", [](serviceMux& mux) { mux.newEITpf({}); }},
    {"newEITsch", [](serviceMux& mux) { mux.newEITsch({}); }},
    {"clearEITpf", [](serviceMux& mux) { mux.clearEITpf(1); }},
    {"clearEITsch", [](serviceMux& mux) { mux.clearEITsch(1); }},
    {"clearAllEITs", [](serviceMux& mux) { mux.clearAllEITs(); }},
    {"clearEIT", [](serviceMux& mux) { mux.clearEIT(0x50, 1, 1, 1); }},
    {"newSections", [](serviceMux& mux) { mux.newSections({}); }},
    {"clearSections", [](serviceMux& mux) { mux.clearSections(1, 1, 1); }},
    {"newNULLPkts", [](serviceMux& mux) { mux.newNULLPkts(1000); }},
    {"clearNULLPkts", [](serviceMux& mux) { mux.clearNULLPkts(); }},
    {"setLocalTimeOffsetTable",
     [](serviceMux& mux) { mux.setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s>(20)); }},
    {"newMGT", [](serviceMux& mux) { mux.newMGT({}); }},
    {"newVCT", [](serviceMux& mux) { mux.newVCT(makeVct(0xC8, 1)); }},
    {"newSTT", [](serviceMux& mux) { mux.newSTT({}); }},
    {"clearMGT", [](serviceMux& mux) { mux.clearMGT(); }},
    {"clearVCT", [](serviceMux& mux) { mux.clearVCT(); }},
    {"clearOneVCT", [](serviceMux& mux) { mux.clearVCT(0xC8); }},
    {"clearSTT", [](serviceMux& mux) { mux.clearSTT(); }},
    {"setDRMConfig", [](serviceMux& mux) { mux.setDRMConfig({}); }},
    {"setECM", [](serviceMux& mux) { mux.setECM({}); }},
    {"setEMM", [](serviceMux& mux) { mux.setEMM({}); }},
    {"clearECM", [](serviceMux& mux) { mux.clearECM(); }},
    {"clearEMM", [](serviceMux& mux) { mux.clearEMM(); }},
    {"setLiveECM", [](serviceMux& mux) { mux.setLiveECM({}); }},
    {"setLiveEMM", [](serviceMux& mux) { mux.setLiveEMM({}); }},
    {"clearLiveECMs", [](serviceMux& mux) { mux.clearLiveECMs(); }},
    {"clearLiveEMMs", [](serviceMux& mux) { mux.clearLiveEMMs(); }},
    {"clearAllTables", [](serviceMux& mux) { mux.clearAllTables(); }},
};

class LogScopeOfOperation : public testing::TestWithParam<Operation> {};

/// Puts a table of another output on air with each datagram, and loses the datagram.
class FeedingSink final : public vantor::DatagramSink {
 public:
  explicit FeedingSink(serviceMux& fed) : fed(fed) {}

  ssize_t send(const void*, std::size_t) override {
    fed.newPAT(makePat(1));
    ++datagrams;
    errno = ENOBUFS;
    return -1;
  }

  std::atomic<int> datagrams{0};

 private:
  serviceMux& fed;
};

}  // namespace

TEST(LogScope, EndsWithTheScopeAroundIt) {
  const std::string east = "east";
  const std::string west = "west";
  RecordedLog log;
  say("before");
  {
    const LogScope outer(east);
    {
      const LogScope inner(west);
      say("inside");
    }
    say("behind");
  }
  say("after");
  EXPECT_THAT(log.take(), ElementsAre(isFor("", "before"), isFor("west", "inside"), isFor("east", "behind"),
                                      isFor("", "after")));
}

TEST(LogScope, IsThatOfOneThread) {
  const std::string east = "east";
  RecordedLog log;
  const LogScope scope(east);
  std::thread([] { say("elsewhere"); }).join();
  EXPECT_THAT(log.take(), ElementsAre(isFor("", "elsewhere")));
}

TEST_P(LogScopeOfOperation, IsTheOutputAndThenAgainWhatItWas) {
  const std::string caller = "caller";
  RecordedLog log;
  Sender sender;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  serviceMux mux("mux", sender.shared(), "");
  log.take();
  const LogScope scope(caller);
  GetParam().call(mux);
  EXPECT_THAT(log.take(), AllOf(Not(IsEmpty()), Each(isFor("mux"))));
  say("after");
  EXPECT_THAT(log.take(), Contains(isFor("caller", "after")));
}

INSTANTIATE_TEST_SUITE_P(EachOne, LogScopeOfOperation, testing::ValuesIn(kOperations),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(LogScope, IsTheOutputInItsConstructionAndDestruction) {
  RecordedLog log;
  const ThreadCalls refused(ThreadCalls::Priorities::kRefused);
  { const serviceMux mux("mux", makeAddress(), ""); }
  const auto messages = log.take();
  EXPECT_THAT(messages, Each(isFor("mux")));
  for (const char* const text : {"Building", "opened", "sched params", "clearLiveECMs"})
    EXPECT_THAT(messages, Contains(isFor("mux", text)));
  say("after");
  EXPECT_THAT(log.take(), ElementsAre(isFor("", "after")));
}

TEST(LogScope, IsTheOutputInTheStepsOfItsConstructionFromOutside) {
  serviceMux mux("mux", makeAddress("127.0.0.1", 5000, 0), "");
  RecordedLog log;
  EXPECT_EQ(mux.getOutputInterfaceName(), "ethInt");
  EXPECT_THAT(log.take(), ElementsAre(isFor("mux", "VLAN")));
}

TEST(LogScope, IsTheOutputInEachOfItsThreads) {
  RecordedLog log;
  Watchdog watchdog;
  watchdog.handle = 0;
  watchdog.unregisterResult = 1;
  UtcClock utc;
  utc.onRead = [] { say("the time is read"); };
  Sender sender;
  sender.failNext(ENOBUFS);
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  {
    serviceMux mux("mux", sender.shared(), "");
    mux.newNULLPkts(1);
    while (mux.statistics().datagrams == 0 || utc.reads == 0) std::this_thread::yield();
  }
  const auto messages = log.take();
  EXPECT_THAT(messages, Each(isFor("mux")));
  for (const char* const text : {"Couldn't register", "Couldn't unregister", "Could not write", "the time is read"})
    EXPECT_THAT(messages, Contains(isFor("mux", text)));
}

TEST(LogScope, TellsOutputsApartThatRunTogether) {
  RecordedLog log;
  Sender eastern;
  Sender western;
  eastern.failNext(ENOBUFS);
  western.failNext(EPERM);
  {
    serviceMux east("east", eastern.shared(), "");
    serviceMux west("west", western.shared(), "");
    east.newNULLPkts(1);
    west.newNULLPkts(1);
    while (east.statistics().datagrams == 0 || west.statistics().datagrams == 0) std::this_thread::yield();
  }
  const auto messages = log.take();
  EXPECT_THAT(messages, Contains(isFor("east", "No buffer space available")));
  EXPECT_THAT(messages, Contains(isFor("west", "Operation not permitted")));
}

TEST(LogScope, ComesBackBehindTheOperationOfAnotherOutput) {
  RecordedLog log;
  Sender sender;
  serviceMux west("west", sender.shared(), "");
  const auto sink = std::make_shared<FeedingSink>(west);
  {
    serviceMux east("east", sink, "");
    log.take();
    east.newNULLPkts(1);
    while (sink->datagrams < 2) std::this_thread::yield();
  }
  int lost = 0;
  int fed = 0;
  for (const Message& message : log.take()) {
    if (message.text.find("Could not write") != std::string::npos) {
      ++lost;
      EXPECT_EQ(message.context, "east");
    }
    if (message.text == "[newPAT]") {
      ++fed;
      EXPECT_EQ(message.context, "west");
    }
  }
  EXPECT_GE(lost, 1);
  EXPECT_GE(fed, 2);
}
