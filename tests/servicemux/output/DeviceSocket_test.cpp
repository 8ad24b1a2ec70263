#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/SendCalls.h"
#include "tests/servicemux/doubles/Slot.h"
#include "tests/servicemux/doubles/SocketCalls.h"
#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/packets.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsSupersetOf;
using vantor::serviceMux;

constexpr const char* kUnicast = "127.0.0.1";
constexpr const char* kMulticast = "192.168.1.239";

/// What one object did with its socket from construction to destruction.
struct Life {
  std::vector<std::string> calls;
  std::vector<std::string> log;
  std::string stderrText;
};

Life live(const std::string& ip, const std::vector<std::string>& failing = {}, int vlan = 1) {
  RecordedLog log;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const SocketCalls calls(failing);
  testing::internal::CaptureStderr();
  { const serviceMux mux("mux", makeAddress(ip, 5004, vlan), ""); }
  return {calls.made(), takeLines(log), testing::internal::GetCapturedStderr()};
}

std::vector<std::string> logAround(const std::string& ip, const std::vector<std::string>& errors) {
  std::vector<std::string> lines{"4 [mux] Building Service Mux for [" + ip + "]:[5004] vlan[1]"};
  lines.insert(lines.end(), errors.begin(), errors.end());
  lines.push_back(errors.empty() ? "4 [mux] Output Socket opened!"
                                 : "3 [mux] Output Socket open error! [" + ip + "]:[5004] vlan[1]");
  lines.insert(lines.end(), {"4 [clearLiveECMs]", "4 [clearLiveEMMs]"});  // the destructor
  return lines;
}

std::string nameFor(int vlan, int slotNumber) {
  const Slot slot(slotNumber);
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const serviceMux mux("mux", makeAddress(kUnicast, 5004, vlan), "");
  return mux.getOutputInterfaceName();
}

}  // namespace

TEST(OutputSocket, UnicastOnlyGetsATtl) {
  const Life life = live(kUnicast);
  EXPECT_THAT(life.calls, ElementsAre("socket SOCK_DGRAM 0", "setsockopt IP_TTL 01", "close"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(kUnicast, {})));
}

TEST(OutputSocket, IsClosedBehindTheLastThread) {
  const ThreadCalls threads(ThreadCalls::Priorities::kGranted);
  SocketCalls calls;
  std::vector<std::string> before;
  calls.beforeClose([&] { before = threads.made(); });
  { const serviceMux mux("mux", makeAddress(kUnicast), ""); }
  EXPECT_THAT(before, IsSupersetOf({"join OPSICons5004", "join OPSIProd5004", "join unnamed"}));
}

TEST(OutputSocket, MulticastIsTiedToInterfaceAndGroup) {
  const Life life = live(kMulticast);
  EXPECT_THAT(life.calls, ElementsAre("socket SOCK_DGRAM 0", "ioctl SIOCGIFADDR ethInt.100",
                                      "setsockopt IP_MULTICAST_IF 0a090807", "setsockopt IP_MULTICAST_LOOP 00",
                                      "setsockopt IP_MULTICAST_TTL 01", "bind 192.168.1.239:5004",
                                      "shutdown SHUT_RD", "close"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(kMulticast, {})));
}

TEST(OutputSocket, LastOctetSettlesWhatIsMulticast) {
  const auto isMulticast = [](const std::string& ip) {
    const auto calls = live(ip).calls;
    return std::find(calls.begin(), calls.end(), "bind " + ip + ":5004") != calls.end();
  };
  EXPECT_FALSE(isMulticast("239.0.0.1"));
  EXPECT_FALSE(isMulticast("239.1.1.1"));
  EXPECT_FALSE(isMulticast("10.0.0.223"));
  EXPECT_TRUE(isMulticast("10.0.0.224"));
  EXPECT_TRUE(isMulticast("10.0.0.230"));
  EXPECT_TRUE(isMulticast("192.168.1.239"));
  EXPECT_FALSE(isMulticast("10.0.0.240"));
}

TEST(OutputSocket, MulticastAddressWithAnotherLastOctetTakesTheUnicastPath) {
  EXPECT_THAT(live("239.0.0.1").calls, ElementsAre("socket SOCK_DGRAM 0", "setsockopt IP_TTL 01", "close"));
}

TEST(OutputSocket, InterfaceNameIsCutTo15Characters) {
  const Slot slot(1000000);
  EXPECT_THAT(live(kMulticast, {}, 2).calls, testing::Contains("ioctl SIOCGIFADDR ethInt.10000001"));
}

TEST(OutputSocket, InterfaceFollowsVlanAndSlot) {
  EXPECT_EQ(nameFor(1, 0), "ethInt.100");
  EXPECT_EQ(nameFor(1, 3), "ethInt.100");
  EXPECT_EQ(nameFor(2, 3), "ethInt.311");
  EXPECT_EQ(nameFor(2, 0), "ethInt.11");
  EXPECT_EQ(nameFor(3, 0), "ethInt.12");
  EXPECT_EQ(nameFor(3, 7), "ethInt.712");
}

TEST(OutputSocket, UnknownVlanIsLoggedAndMeansTheBareInterface) {
  for (const int vlan : {0, 4, -1}) {
    RecordedLog log;
    EXPECT_EQ(nameFor(vlan, 3), "ethInt");
    EXPECT_THAT(takeLines(log), testing::Contains("3 [ServiceMux] No valid VLAN found! "));
  }
}

TEST(OutputSocket, UnicastOutputDoesNotAskForItsInterface) {
  RecordedLog log;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  { const serviceMux mux("mux", makeAddress(kUnicast, 5004, 0), ""); }
  EXPECT_THAT(takeLines(log),
              ElementsAre("4 [mux] Building Service Mux for [127.0.0.1]:[5004] vlan[0]",
                          "4 [mux] Output Socket opened!", "4 [clearLiveECMs]", "4 [clearLiveEMMs]"));
}

// --- Failures: each step is taken all the same, but never on a descriptor that has been closed -------------------

TEST(OutputSocketFailure, NoSocketForUnicast) {
  const Life life = live(kUnicast, {"socket"});
  EXPECT_THAT(life.calls, ElementsAre("socket SOCK_DGRAM 0", "setsockopt IP_TTL 01 on -1"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(
                            kUnicast, {"3 Unable to open socket.", "3 Unable to configure output TTL."})));
}

TEST(OutputSocketFailure, NoSocketForMulticast) {
  const Life life = live(kMulticast, {"socket", "ioctl"});
  EXPECT_THAT(life.calls,
              ElementsAre("socket SOCK_DGRAM 0", "ioctl SIOCGIFADDR ethInt.100 on -1",
                          testing::StartsWith("setsockopt IP_MULTICAST_IF "),
                          "setsockopt IP_MULTICAST_LOOP 00 on -1", "setsockopt IP_MULTICAST_TTL 01 on -1",
                          "bind 192.168.1.239:5004 on -1", "shutdown SHUT_RD on -1"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(kMulticast, {"3 Unable to open socket.", "3 ioctl(SIOCGIFADDR)",
                                                                "3 Unable to configure output TTL."})));
}

TEST(OutputSocketFailure, TtlOfUnicast) {
  const Life life = live(kUnicast, {"IP_TTL"});
  EXPECT_THAT(life.calls, ElementsAre("socket SOCK_DGRAM 0", "setsockopt IP_TTL 01", "close"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(kUnicast, {"3 Unable to configure output TTL."})));
}

TEST(OutputSocketFailure, TtlOfMulticast) {
  const Life life = live(kMulticast, {"IP_MULTICAST_TTL"});
  EXPECT_THAT(life.calls, ElementsAre("socket SOCK_DGRAM 0", "ioctl SIOCGIFADDR ethInt.100",
                                      "setsockopt IP_MULTICAST_IF 0a090807", "setsockopt IP_MULTICAST_LOOP 00",
                                      "setsockopt IP_MULTICAST_TTL 01", "bind 192.168.1.239:5004",
                                      "shutdown SHUT_RD", "close"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(kMulticast, {"3 Unable to configure output TTL."})));
}

TEST(OutputSocketFailure, MissingInterface) {
  const Life life = live(kMulticast, {"ioctl"});
  EXPECT_THAT(life.calls,
              ElementsAre("socket SOCK_DGRAM 0", "ioctl SIOCGIFADDR ethInt.100", "close",
                          AllOf(HasSubstr("IP_MULTICAST_IF"), HasSubstr("on -1")),
                          "setsockopt IP_MULTICAST_LOOP 00 on -1", "setsockopt IP_MULTICAST_TTL 01 on -1",
                          "bind 192.168.1.239:5004 on -1", "shutdown SHUT_RD on -1"));
  EXPECT_THAT(life.log, ElementsAreArray(
                            logAround(kMulticast, {"3 ioctl(SIOCGIFADDR)", "3 Unable to configure output TTL."})));
  EXPECT_EQ(life.stderrText, "setsockopt(IP_MULTICAST_IF): Bad file descriptor\n");
}

TEST(OutputSocketFailure, InterfaceThatRefusesMulticast) {
  const Life life = live(kMulticast, {"IP_MULTICAST_IF"});
  EXPECT_THAT(
      life.calls,
      ElementsAre("socket SOCK_DGRAM 0", "ioctl SIOCGIFADDR ethInt.100", "setsockopt IP_MULTICAST_IF 0a090807",
                  "close", "setsockopt IP_MULTICAST_LOOP 00 on -1", "setsockopt IP_MULTICAST_TTL 01 on -1",
                  "bind 192.168.1.239:5004 on -1", "shutdown SHUT_RD on -1"));
  EXPECT_THAT(life.log, ElementsAreArray(logAround(kMulticast, {"3 Unable to configure output TTL."})));
  EXPECT_EQ(life.stderrText, "setsockopt(IP_MULTICAST_IF): Operation not permitted\n");
}

TEST(OutputSocketFailure, RefusedBind) {
  const Life life = live(kMulticast, {"bind"});
  EXPECT_THAT(life.calls, ElementsAre("socket SOCK_DGRAM 0", "ioctl SIOCGIFADDR ethInt.100",
                                      "setsockopt IP_MULTICAST_IF 0a090807", "setsockopt IP_MULTICAST_LOOP 00",
                                      "setsockopt IP_MULTICAST_TTL 01", "bind 192.168.1.239:5004", "close",
                                      "shutdown SHUT_RD on -1"));
  EXPECT_THAT(life.log, ElementsAre("4 [mux] Building Service Mux for [192.168.1.239]:[5004] vlan[1]",
                                    "3 [mux] Output Socket open error! [192.168.1.239]:[5004] vlan[1]",
                                    "4 [clearLiveECMs]", "4 [clearLiveEMMs]"));
}

TEST(OutputSocketFailure, ObjectLivesOnAndEachSendFailsWithALine) {
  RecordedLog log;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const SocketCalls calls({"ioctl"});
  testing::internal::CaptureStderr();
  serviceMux mux("mux", makeAddress(kMulticast), "");
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(mux.newPAT(makePat(1)), 1);
  int errors = 0;
  while (errors < 2) {
    const auto lines = takeLines(log);
    errors += static_cast<int>(std::count(lines.begin(), lines.end(),
                                          "3 Could not write 188 bytes to socket: -1 (9: Bad file descriptor)"));
    std::this_thread::yield();
  }
  EXPECT_GE(mux.statistics().sendErrors, 2U);
}

// The number of a closed descriptor goes to the next file that the process opens.
TEST(OutputSocketFailure, NumberOfTheClosedSocketIsLeftToItsNewOwner) {
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const SocketCalls calls({"ioctl"});
  testing::internal::CaptureStderr();
  int newOwner = -1;
  {
    serviceMux mux("mux", makeAddress(kMulticast), "");
    newOwner = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(newOwner, calls.socket()) << "the test needs the number that the multiplex has closed";
    const SendCalls sending;
    mux.newPAT(makePat(1));
    while (sending.made().empty()) std::this_thread::yield();
    for (const auto& call : sending.made()) EXPECT_EQ(call.socket, -1);
  }
  EXPECT_NE(fcntl(newOwner, F_GETFD), -1) << "closed by somebody else";
  const auto made = calls.made();
  EXPECT_EQ(std::count(made.begin(), made.end(), "close"), 1);
  const auto closed = std::find(made.begin(), made.end(), "close");
  for (auto call = closed + 1; call != made.end(); ++call) EXPECT_THAT(*call, HasSubstr(" on -1"));
  ::close(newOwner);
}
