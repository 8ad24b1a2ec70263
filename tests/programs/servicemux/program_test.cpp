#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/Receiver.h"
#include "tests/programs/inputs/networkCaptures.h"
#include "tests/programs/streams.h"
#include "tests/sanitized.h"

/// The program as its users have it: a child process, its exit status and what it writes.

namespace vantor {
namespace {

namespace fs = std::filesystem;
using namespace vantor::testing;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr const char* kCat = R"({"cat": {"version_number": 7, "descriptors": [{"tag": 9, "data": "0b00e064"}]}})";
constexpr const char* kPat =
    R"({"pat": {"transport_stream_id": 1, "version_number": 3, "programs": [{"program_number": 1, "pid": 256}]}})";

class Program : public ::testing::Test {
 protected:
  struct Result {
    int status = -1;
    std::string output;
    std::string errors;
  };

  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "servicemux-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
  }
  void TearDown() override { fs::remove_all(directory); }

  std::string file(const std::string& name, const std::string& contents) const {
    std::ofstream(directory / name, std::ios::binary) << contents;
    return directory / name;
  }

  std::string contentsOf(const std::string& name) const {
    std::ifstream file(directory / name, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
  }

  pid_t start(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), SERVICEMUX_PROGRAM);
    std::vector<char*> pointers;
    for (auto& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (directory / "stdout").c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (directory / "stderr").c_str(), flags, 0600);
    pid_t child = -1;
    EXPECT_EQ(posix_spawn(&child, SERVICEMUX_PROGRAM, &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return child;
  }

  Result finish(pid_t child) const {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    return {WEXITSTATUS(status), contentsOf("stdout"), contentsOf("stderr")};
  }

  Result run(const std::vector<std::string>& arguments) const { return finish(start(arguments)); }

  /// What `play` says of a bad input.
  std::string playError(const std::string& path, int status = 1) const {
    const Result result = run({"play", path, "--to", "127.0.0.1:9", "--duration", "0.1"});
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.output, "");
    return result.errors;
  }

  /// Sends a datagram to a port of this machine. Returns false when nobody listens there.
  static bool isReceived(int port, const std::string& payload) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    EXPECT_EQ(connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(send(descriptor, payload.data(), payload.size(), 0), static_cast<ssize_t>(payload.size()));
    char answer = 0;
    const bool isRefused = recv(descriptor, &answer, 1, MSG_DONTWAIT) < 0 && errno == ECONNREFUSED;
    close(descriptor);
    return !isRefused;
  }

  static std::size_t residentBytes(pid_t child) {
    std::ifstream status("/proc/" + std::to_string(child) + "/status");
    for (std::string word; status >> word;) {
      std::size_t kilobytes = 0;
      if (word == "VmRSS:" && status >> kilobytes) return kilobytes * 1024;
    }
    return 0;
  }

  fs::path directory;
  std::string input = "/dev/null";  // what the program's stdin is
};

TEST_F(Program, TellsItsVersion) {
  const Result result = run({"--version"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, MatchesRegex("servicemux [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Program, ExplainsEverySubcommand) {
  EXPECT_THAT(run({"--help"}).output, HasSubstr("import"));
  const Result play = run({"play", "--help"});
  EXPECT_EQ(play.status, 0);
  for (const char* option :
       {"--to", "--interface", "--ttl", "--dscp", "--device-addressing", "--vlan", "--bitrate", "--timing",
        "--period", "--datagram-wait", "--dump", "--duration", "--null-period", "--quiet"})
    EXPECT_THAT(play.output, HasSubstr(option));
  EXPECT_THAT(run({"import", "--help"}).output, HasSubstr("--output"));
  for (const char* option : {"--bitrate", "--timing", "--period", "--strict", "--json"})
    EXPECT_THAT(run({"check", "--help"}).output, HasSubstr(option));
  EXPECT_THAT(run({"diff", "--help"}).output, HasSubstr("--json"));
  const Result watch = run({"watch", "--help"});
  for (const char* option :
       {"--interface", "--stream", "--bitrate", "--duration", "--terrestrial", "--json", "--strict", "--quiet"})
    EXPECT_THAT(watch.output, HasSubstr(option));
  EXPECT_THAT(run({"--help"}).output, HasSubstr("4 a limit broken"));
}

TEST_F(Program, WatchesNothingThatCannotBeRead) {
  const std::string path = (directory / "nowhere.ts").string();
  const Result missing = run({"watch", path});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.output, "");
  EXPECT_EQ(missing.errors, "servicemux: " + path + ": No such file or directory\n");
  EXPECT_EQ(run({"watch"}).status, 2);
  EXPECT_EQ(run({"watch", path, "--bitrate", "0"}).status, 2);
  EXPECT_EQ(run({"watch", path, "--duration", "-1"}).status, 2);
}

TEST_F(Program, RefusesBadUsageInOneLine) {
  const std::string json = file("a.json", kCat);
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "servicemux: no subcommand given, see servicemux --help\n"},
      {{"sing"}, "servicemux: The following argument was not expected: sing\n"},
      {{"play", json}, "servicemux: --to is required\n"},
      {{"play", "--to", "1.2.3.4:5"}, "servicemux: FILE is required\n"},
      {{"import"}, "servicemux: INPUT is required\n"},
      {{"play", "--nosuch"}, "servicemux: The following argument was not expected: --nosuch\n"},
      {{"import", "--nosuch"}, "servicemux: The following argument was not expected: --nosuch\n"},
      {{"import", "--nosuch", "--never"},
       "servicemux: The following arguments were not expected: --nosuch --never\n"},
      {{"import", json, "--duration", "5"},
       "servicemux: --duration: '" + json + "' is a file, which is read to its end\n"},
      {{"import", json, "--stream", "here"},
       "servicemux: --stream: 'here' is not an address and a port like 239.1.1.1:5004\n"},
      {{"import", json, "--default-charset", "UTF-16"},
       "servicemux: --default-charset: 'UTF-16' is no character set that holds ASCII, like ISO-8859-9\n"},
  };
  for (const auto& [arguments, message] : cases) {
    const Result result = run(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, message);
  }
}

TEST_F(Program, NamesABadOptionValue) {
  const std::string json = file("a.json", kCat);
  const auto errorOf = [&](const std::string& target) {
    const Result result = run({"play", json, "--to", target});
    EXPECT_EQ(result.status, 2) << target;
    return result.errors;
  };
  for (const std::string target : {"1.2.3.4", "tcp://1.2.3.4:5", "out.ts"})
    EXPECT_EQ(errorOf(target), "servicemux: --to: \"" + target +
                                   "\" is none of HOST:PORT, udp://HOST:PORT, rtp://HOST:PORT, file:PATH and -\n");
  EXPECT_EQ(errorOf("1.2.3.256:5000"), "servicemux: --to: \"1.2.3.256\" is no IPv4 address\n");
  EXPECT_EQ(errorOf("[::g]:5000"), "servicemux: --to: \"::g\" is no IPv6 address\n");
  for (const std::string port : {"0", "65536", "-1", "", "5x"})
    EXPECT_EQ(errorOf("1.2.3.4:" + port), "servicemux: --to: \"" + port + "\" is no port from 1 to 65535\n");
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"--ttl", "0", "'0' is not a number from 1 to 255"},
      {"--ttl", "256", "'256' is not a number from 1 to 255"},
      {"--dscp", "64", "'64' is not a number from 0 to 63"},
      {"--vlan", "4", "4 is none of the VLANs 1, 2 and 3"},
      {"--vlan", "east", "'east' is not a number"},
      {"--bitrate", "0", "'0' is not a number from 1 to 100000"},
      {"--bitrate", "100001", "'100001' is not a number from 1 to 100000"},
      {"--bitrate", "fast", "'fast' is not a number from 1 to 100000"},
      {"--null-period", "0", "'0' is not a number from 1 to 60000"},
      {"--timing", "Classic", "'Classic' is neither standards nor classic"},
      {"--datagram-wait", "1001", "'1001' is not a number from 0 to 1000"},
      {"--period", "pat=24", "pat: 24 ms is below 25 ms"},
      {"--period", "eit_schedule_other=65536", "eit_schedule_other: 65536 ms is above 65535 ms"},
      {"--duration", "0", "'0' is not a number of seconds above 0"},
      {"--duration", "nan", "'nan' is not a number of seconds above 0"},
      {"--duration", "inf", "'inf' is not a number of seconds above 0"},
  };
  for (const auto& [option, value, message] : cases) {
    const Result result = run({"play", json, "--to", "127.0.0.1:9", option, value});
    EXPECT_EQ(result.status, 2) << option << value;
    EXPECT_EQ(result.errors, "servicemux: " + option + ": " + message + "\n");
  }
}

TEST_F(Program, RefusesOutputOptionsThatDoNotGoTogether) {
  const std::string json = file("a.json", kCat);
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"--to", "127.0.0.1:9", "--vlan", "1"}, "--vlan requires --device-addressing"},
      {{"--to", "127.0.0.1:9", "--device-addressing", "--interface", "lo"},
       "--interface excludes --device-addressing"},
      {{"--to", "127.0.0.1:9", "--to", "127.0.0.1:10", "--device-addressing"},
       "--to: the device's addressing has one destination"},
      {{"--to", "rtp://127.0.0.1:9", "--device-addressing"}, "--to: the device's addressing sends over UDP alone"},
      {{"--to", "[::1]:9", "--device-addressing"}, "--to: \"::1\" is no IPv4 address"},
      {{"--to", "host:9", "--device-addressing"}, "--to: \"host\" is no IPv4 address"},
      {{"--to", "127.0.0.1:9", "--to", "-", "--to", "-"}, "--to: '-' is given twice"},
  };
  for (const auto& [arguments, message] : cases) {
    std::vector<std::string> line{"play", json, "--duration", "1"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    const Result result = run(line);
    EXPECT_EQ(result.status, 2) << message;
    EXPECT_EQ(result.errors, "servicemux: " + message + "\n");
  }
}

TEST_F(Program, EndsAtOnceWithTheReasonWhenAnOutputCannotBeOpened) {
  const std::string json = file("a.json", kCat);
  const auto errorOf = [&](const std::vector<std::string>& arguments) {
    std::vector<std::string> line{"play", json, "--duration", "1"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    const Result result = run(line);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, "");
    return result.errors;
  };
  EXPECT_EQ(errorOf({"--to", "239.1.1.1:5004", "--interface", "nosuch0"}),
            "servicemux: 239.1.1.1:5004 through nosuch0: there is no interface nosuch0\n");
  EXPECT_EQ(errorOf({"--to", "[ff05::1]:5004", "--interface", "nosuch0"}),
            "servicemux: [ff05::1]:5004 through nosuch0: there is no interface nosuch0\n");
  EXPECT_EQ(errorOf({"--to", "10.0.0.230:5004", "--device-addressing", "--vlan", "3"}),
            "servicemux: 10.0.0.230:5004 through ethInt.12: there is no interface ethInt.12\n");
  EXPECT_EQ(errorOf({"--to", "127.0.0.1:9", "--to", "file:" + directory.string()}),
            "servicemux: file:" + directory.string() + ": it is a directory\n");
  const std::string second = file("b.json", kPat);
  EXPECT_EQ(errorOf({second, "--to", "file:" + second}),
            "servicemux: file:" + second + ": it is one of the files to play\n");
  EXPECT_EQ(contentsOf("b.json"), kPat);
  EXPECT_EQ(errorOf({"--to", "file:" + json}), "servicemux: file:" + json + ": it is one of the files to play\n");
  EXPECT_EQ(contentsOf("a.json"), kCat);
}

TEST_F(Program, WritesPacketsAloneToStdoutWhenAskedTo) {
  const Result result = run({"play", file("pat.json", kPat), "--to", "-", "--duration", "1.1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_GE(result.output.size(), 188U);
  EXPECT_EQ(result.output.size() % 188, 0U);
  for (std::size_t at = 0; at < result.output.size(); at += 188) EXPECT_EQ(result.output[at], '\x47');
  EXPECT_THAT(result.errors, HasSubstr("PAT@0x0000 v3"));
  EXPECT_THAT(result.errors, HasSubstr(" on air, "));
}

TEST_F(Program, SendsToSeveralDestinations) {
  const Receiver first;
  const Receiver second;
  const Result result = run({"play", file("pat.json", kPat), "--to", first.target(), "--to",
                             "rtp://" + second.target(), "--duration", "1.1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  const std::string datagram = first.receive(0);
  EXPECT_NE(datagram, "");
  EXPECT_EQ(second.receive(0).substr(12), datagram);
  EXPECT_THAT(result.output, HasSubstr("\n  " + first.target() + ": "));
  EXPECT_THAT(result.output, HasSubstr("\n  rtp://" + second.target() + ": "));
}

TEST_F(Program, TakesPeriodsOfTheTablesThatItsHelpNames) {
  const std::string json = file("a.json", kCat);
  for (const std::string value : {"pat", "pat=", "pat=1x", "=100", "bat=100", "pat=99999999999999999999"}) {
    const Result result = run({"play", json, "--to", "127.0.0.1:9", "--period", value});
    EXPECT_EQ(result.status, 2) << value;
    EXPECT_EQ(result.errors,
              "servicemux: --period: '" + value + "' is not a table of --help and its period in ms like pat=100\n");
  }
  EXPECT_THAT(run({"play", "--help"}).output,
              HasSubstr("pat, pmt, cat, nit, sdt_actual, sdt_other, eit_pf_actual, eit_pf_other, "
                        "eit_schedule_actual, eit_schedule_other, time, mgt, vct_terrestrial, vct_cable, rrt, stt, "
                        "ecm, emm\n"));
}

TEST_F(Program, RefusesADumpDirectoryThatItCouldHarm) {
  const std::string json = file("a.json", kCat);
  const auto errorOf = [&](const std::string& path) {
    const Result result = run({"play", json, "--to", "127.0.0.1:9", "--dump=" + path});
    EXPECT_EQ(result.status, 2) << path;
    return result.errors;
  };
  EXPECT_EQ(errorOf("/no/such/place"), "servicemux: --dump: '/no/such/place' is not an existing directory\n");
  EXPECT_EQ(errorOf(json), "servicemux: --dump: '" + json + "' is not an existing directory\n");
  for (const char* name : {"a b", "a;b", "$HOME", "-rf", "a*"})
    EXPECT_EQ(errorOf(name), "servicemux: --dump: '" + std::string(name) +
                                 "' may only hold letters, digits and /._- and not begin with -\n");
  file("mine.bin", "");
  EXPECT_EQ(errorOf(directory), "servicemux: --dump: '" + directory.string() +
                                    "' holds mine.bin, and every *.bin there is removed at the end\n");
}

TEST_F(Program, NamesFileAndPlaceOfBadInput) {
  const std::string json = file("a.json", R"({"pat": {"foo": 1}})");
  EXPECT_EQ(playError(json), "servicemux: " + json + ": /pat/foo: unknown field\n");
  const std::string stream = file("a.ts", "");
  EXPECT_EQ(playError(stream), "servicemux: " + stream + ": the file is empty\n");
  const std::string sections = file("a.bin", "\x40\xB0\xFF");
  EXPECT_EQ(playError(sections),
            "servicemux: " + sections + ": byte 0: a section of 258 bytes, of which only 3 are there\n");
  EXPECT_EQ(playError("/no/such.json"), "servicemux: /no/such.json: No such file or directory\n");
  const std::string text = file("a.txt", "hello");
  EXPECT_EQ(playError(text), "servicemux: " + text +
                                 ": holds no packets (nowhere is 0x47 every 188, 192 or 204 "
                                 "bytes), no sections and no JSON\n");
  EXPECT_EQ(playError("udp://127.0.0.1:5004"),
            "servicemux: udp://127.0.0.1:5004: is live, make a table set of it with import\n");
  EXPECT_EQ(playError(file("empty.json", "{}")), "servicemux: there is no table to send\n");
}

TEST_F(Program, NamesFileAndPlaceOfATableThatCannotBeSent) {
  const std::string json = file("a.json", R"({"eit_pf": [{"service_id": 7, "transport_stream_id": 4,
      "original_network_id": 2, "version_number": 1, "events": [
        {"event_id": 1, "start_time": "now", "duration": "01:00:00"}, {"event_id": 2, "duration": "01:00:00"},
        {"event_id": 3, "duration": "01:00:00"}]}]})");
  EXPECT_EQ(playError(json),
            "servicemux: " + json + ": /eit_pf/0/events: 3 are more than the 2 that present/following has\n");
}

TEST_F(Program, NamesAProgramThatHasNoPid) {
  const std::string pmts = file("a.json", R"({"pmts": [{"program_number": 7, "pcr_pid": 512, "version_number": 1,
                                                       "streams": []}]})");
  EXPECT_EQ(playError(pmts), "servicemux: PMT 7: it has no PID, and no PAT names the program\n");
}

TEST_F(Program, PutsAMultiplexOfHundredsOfTablesOnAir) {
  tables::TableSet set;
  set.pat = makePat(1, 100);
  set.sdtActual = makeSdt(4, 2, 100);
  thrift::dvb_tables::EIT eit;
  eit.__set_sectioning(thrift::dvb_tables::EITSectioning::STANDARD);
  for (int i = 1; i <= 100; ++i) {
    set.pmts.push_back({std::nullopt, makePmt(i, 3)});
    set.sdtOthers.push_back(makeSdt(100 + i, 2, 1));
    eit.service_id = i;
    eit.table_id = 0x4E;
    eit.events = {makeEvent({1, 0xE489120000})};
    set.eitPf.push_back(eit);
    eit.table_id = 0x50;
    set.eitSchedule.push_back(eit);
  }
  const std::string json = file("a.json", tables::writeTableSet(set));
  const Receiver receiver;
  const pid_t child = start({"play", json, "--to", receiver.target(), "--bitrate", "20000"});
  std::set<unsigned> pids;
  for (std::string datagram; pids.size() < 103 && !(datagram = receiver.receive(60000)).empty();)
    for (std::size_t at = 0; at < datagram.size(); at += 188)
      pids.insert((static_cast<unsigned>(datagram[at + 1]) & 0x1F) << 8 |
                  static_cast<unsigned char>(datagram[at + 2]));
  kill(child, SIGINT);
  EXPECT_EQ(finish(child).status, 0);
  std::set<unsigned> expected{0x00, 0x11, 0x12};
  for (unsigned i = 1; i <= 100; ++i) expected.insert(0x100 + i);
  EXPECT_EQ(pids, expected);
}

TEST_F(Program, KeepsOfALongGuideLittleMoreThanItsPackets) {
  if (SANITIZED) GTEST_SKIP() << "a sanitizer keeps what is freed";
  tables::TableSet set;
  thrift::dvb_tables::EIT eit;
  eit.__set_sectioning(thrift::dvb_tables::EITSectioning::STANDARD);
  eit.table_id = 0x50;
  constexpr int kServices = 600;
  constexpr int kEvents = 96;         // one each hour of four days
  constexpr std::size_t kText = 150;  // bytes
  for (int number = 0; number < kEvents; ++number) {
    const std::int64_t day = 0xE489 + number / 24;
    const std::int64_t hour = number % 24;
    eit.events.push_back(makeEvent({number, day << 24 | hour / 10 << 20 | hour % 10 << 16, kText}));
  }
  for (eit.service_id = 1; eit.service_id <= kServices; ++eit.service_id) set.eitSchedule.push_back(eit);
  const std::string json = file("guide.json", tables::writeTableSet(set));
  const Receiver receiver;
  const pid_t child = start({"play", json, "--to", receiver.target(), "--bitrate", "20000"});
  EXPECT_NE(receiver.receive(60000), "");
  constexpr std::size_t kSections = std::size_t{kServices} * kEvents * (14 + kText);  // bytes
  constexpr std::size_t kLimit = 2 * kSections + 15000000;
  std::size_t resident = residentBytes(child);
  for (int tries = 0; resident > kLimit && tries < 200; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // all have yet to go on air
    resident = residentBytes(child);
  }
  EXPECT_LE(resident, kLimit);
  kill(child, SIGINT);
  EXPECT_EQ(finish(child).status, 0);
}

TEST_F(Program, PutsTheTablesOnAirForTheDuration) {
  const Receiver receiver;
  const Result result = run({"play", file("pat.json", kPat), file("cat.json", kCat), "--to", receiver.target(),
                             "--duration", "1.1", "--null-period", "50"});
  EXPECT_EQ(result.status, 0);
  std::set<unsigned> pids;
  for (std::string datagram; !(datagram = receiver.receive(0)).empty();) {
    EXPECT_EQ(datagram.size() % 188, 0U);
    for (std::size_t at = 0; at < datagram.size(); at += 188) {
      EXPECT_EQ(datagram[at], '\x47');
      pids.insert((static_cast<unsigned>(datagram[at + 1]) & 0x1F) << 8 |
                  static_cast<unsigned char>(datagram[at + 2]));
    }
  }
  EXPECT_EQ(pids, (std::set<unsigned>{0x0000, 0x0001, 0x1FFF}));
  EXPECT_THAT(result.output, HasSubstr("PAT@0x0000 v3"));
  EXPECT_THAT(result.output, HasSubstr("CAT@0x0001 v7"));
  EXPECT_THAT(result.output, HasSubstr(" on air, "));
}

TEST_F(Program, EndsCleanlyOnASignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const Receiver receiver;
    const pid_t child = start({"play", file("pat.json", kPat), "--to", receiver.target()});
    EXPECT_NE(receiver.receive(60000), "");
    kill(child, signal);
    const Result result = finish(child);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr(" on air, "));
  }
}

/// `play` while its files change. Its view on stdout tells once a second what is on air.
class Reload : public Program {
 protected:
  /// Waits until the file that a child writes holds the text so many times.
  bool awaits(const std::string& name, const std::string& text, int times = 1) const {
    for (int i = 0; i < 3000; ++i) {
      int found = 0;
      const std::string contents = contentsOf(name);
      for (std::size_t at = 0; (at = contents.find(text, at)) != std::string::npos; ++at) ++found;
      if (found >= times) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }
  bool shows(const std::string& text) const { return awaits("stdout", text); }
  bool says(const std::string& text, int times = 1) const { return awaits("stderr", text, times); }

  void replaceFile(const std::string& name, const std::string& contents) const {
    file("new", contents);
    fs::rename(directory / "new", directory / name);
  }

  pid_t playFiles(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "play");
    arguments.insert(arguments.end(), {"--to", receiver.target()});
    return start(arguments);
  }

  std::string endAndTell(pid_t child) const {
    kill(child, SIGINT);
    const Result result = finish(child);
    EXPECT_EQ(result.status, 0);
    return result.errors;
  }

  static std::string cat(int version, const std::string& more = "") {
    return R"({"cat": {"version_number": )" + std::to_string(version) + "}" + more + "}";
  }

  const Receiver receiver;
};

TEST_F(Reload, FileThatIsWrittenOrReplacedIsTakenOver) {
  const pid_t child = playFiles({file("a.json", cat(1))});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  file("a.json", cat(2));
  EXPECT_TRUE(shows("CAT@0x0001 v2"));
  replaceFile("a.json", cat(3));
  EXPECT_TRUE(shows("CAT@0x0001 v3"));
  EXPECT_EQ(endAndTell(child),
            "servicemux: taken over: 1 table changed, 0 new, 0 taken off\n"
            "servicemux: taken over: 1 table changed, 0 new, 0 taken off\n");
}

TEST_F(Reload, FileBehindALinkIsTakenOver) {
  fs::create_directory(directory / "elsewhere");
  file("elsewhere/a.json", cat(1));
  fs::create_symlink(directory / "elsewhere/a.json", directory / "a.json");
  const pid_t child = playFiles({directory / "a.json"});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  file("elsewhere/a.json", cat(2));
  EXPECT_TRUE(shows("CAT@0x0001 v2"));
  endAndTell(child);
}

TEST_F(Reload, ErrorLeavesEverythingOnAirAndIsToldInOneLine) {
  const std::string path = file("a.json", cat(1));
  const pid_t child = playFiles({path});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  replaceFile("a.json", R"({"cat": {"version_number": 2}, "pat": {"programs": 5}})");
  EXPECT_TRUE(says("a.json: /pat/transport_stream_id: missing field"));
  replaceFile("a.json", "{");
  EXPECT_TRUE(says("a.json: line 1, column 2"));
  replaceFile("a.json", R"({"pmts": [{"program_number": 5, "pcr_pid": 1, "streams": []}]})");
  EXPECT_TRUE(says("servicemux: PMT 5: it has no PID"));
  replaceFile("a.json", "{}");
  EXPECT_TRUE(says("servicemux: there is no table to send"));
  replaceFile("a.json", cat(4));
  EXPECT_TRUE(shows("CAT@0x0001 v4"));
  EXPECT_EQ(contentsOf("stdout").find("CAT@0x0001 v2"), std::string::npos);
  EXPECT_THAT(endAndTell(child), MatchesRegex("(servicemux: [^\n]*\n){5}"));
}

TEST_F(Reload, TellsAllThatIsWrongWithAFileAsAtTheBeginning) {
  const std::string path = file("a.json", cat(1));
  const pid_t child = playFiles({path});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  replaceFile("a.json", R"({"nosuch": 1, "pat": {"programs": 5}, "pmts": [{"pid": 9000}, {"foo": 1}]})");
  ASSERT_TRUE(says("/pmts/1/"));
  const std::string told = endAndTell(child);
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 4) << told;
  EXPECT_EQ(playError(path), told);
  EXPECT_EQ(run({"diff", path, path}).errors, told);
}

TEST_F(Program, TellsFewOfThousandsOfErrorsAndHowManyThereAre) {
  std::string pmts;
  for (int i = 0; i < 1000; ++i) pmts += (i == 0 ? "{}" : ", {}");
  const std::string told = playError(file("a.json", R"({"pmts": [)" + pmts + "]}"));
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 20) << told;
  EXPECT_THAT(told, HasSubstr("/pmts/17/"));
  EXPECT_THAT(told, HasSubstr("servicemux: and 981 more of these\n"));
  EXPECT_THAT(told, HasSubstr("/pmts/999/"));
}

TEST_F(Reload, FileThatIsGoneIsAnErrorAndOneThatComesBackIsNot) {
  const std::string path = file("a.json", cat(1));
  const pid_t child = playFiles({path});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  fs::rename(path, path + ".old");
  fs::rename(path + ".old", path);
  EXPECT_TRUE(says("taken over: 0 tables changed"));
  fs::remove(path);
  EXPECT_TRUE(says("a.json: No such file or directory"));
  file("a.json", cat(2));
  EXPECT_TRUE(shows("CAT@0x0001 v2"));
  EXPECT_THAT(endAndTell(child), MatchesRegex("(servicemux: [^\n]*\n){3}"));
}

TEST_F(Reload, SignalHasFilesReadThatHaveNotChanged) {
  const pid_t child = playFiles({file("a.json", cat(1))});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  for (int times = 1; times <= 3; ++times) {
    kill(child, SIGHUP);
    EXPECT_TRUE(says("taken over: 0 tables changed, 0 new, 0 taken off", times));
  }
  endAndTell(child);
}

TEST_F(Reload, SeveralFilesMergeAsAtTheBeginning) {
  const std::string first = file("a.json", cat(1, R"(, "periods": {"cat": 100})"));
  const std::string second = file("b.json", kPat);
  const pid_t child = playFiles({first, second, "--period", "pat=150"});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  file("b.json", cat(5));
  EXPECT_TRUE(shows("CAT@0x0001 v5"));
  EXPECT_TRUE(says("taken over: 1 table changed, 0 new, 1 taken off\n"));
  file("a.json", cat(2, R"(, "periods": {"cat": 300})"));
  EXPECT_TRUE(says("taken over: 0 tables changed, 0 new, 0 taken off, other periods"));
  EXPECT_TRUE(shows("/300 ms"));
  file("b.json", kPat);
  EXPECT_TRUE(shows("CAT@0x0001 v2"));
  endAndTell(child);
}

TEST_F(Reload, WarningThatStillHoldsIsNotToldAgain) {
  const pid_t child = playFiles({file("a.json", cat(300))});
  ASSERT_TRUE(says("CAT: version 300 is above 31 and is sent as 0"));
  file("a.json", cat(300, R"(, "periods": {"cat": 600})"));
  EXPECT_TRUE(says("other periods"));
  EXPECT_TRUE(says("period of cat"));
  const std::string told = endAndTell(child);
  EXPECT_EQ(told.find("version 300"), told.rfind("version 300")) << told;
}

TEST_F(Reload, TimesGoOnCountingFromTheBeginningUntilTheSignal) {
  const auto guide = [](int version) {
    return cat(version, R"(, "eit_pf": [{"service_id": 1, "transport_stream_id": 1, "original_network_id": 1,
        "version_number": 1, "events": [{"event_id": 1, "start_time": "now", "duration": "01:00:00"}]}])");
  };
  const pid_t child = playFiles({file("a.json", guide(1))});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  file("a.json", guide(2));
  EXPECT_TRUE(says("taken over: 1 table changed, 0 new, 0 taken off\n"));
  EXPECT_EQ(endAndTell(child).find("same version_number"), std::string::npos);
}

/// Both ends of a terminal.
class Terminal {
 public:
  Terminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
  }
  ~Terminal() { hangUp(); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::string path() const { return ptsname(master); }
  void hangUp() {
    if (master >= 0) close(master);
    master = -1;
  }

 private:
  int master;
};

TEST_F(Reload, TerminalThatIsGoneEndsIt) {
  Terminal terminal;
  input = terminal.path();
  const pid_t child = playFiles({file("a.json", cat(1))});
  ASSERT_TRUE(shows("CAT@0x0001 v1"));
  kill(child, SIGHUP);
  EXPECT_TRUE(says("taken over"));
  terminal.hangUp();
  kill(child, SIGHUP);
  EXPECT_EQ(finish(child).status, 0);
}

TEST_F(Program, IsSilentWhenAskedTo) {
  const Receiver receiver;
  const Result result =
      run({"play", file("pat.json", kPat), "--to", receiver.target(), "--duration", "1.1", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_NE(receiver.receive(0), "");
}

TEST_F(Program, LetsLaterFilesWin) {
  const auto pat = sectionsOf(makePat(9, 2));
  const std::string first = file("a.json", kPat);
  const std::string second = file("b.bin", pat[0]);
  const std::string third = file("c.ts", Packer(1).apart(sectionsOf(makeCat(5, 1))));
  const Receiver receiver;
  const Result result = run({"play", first, second, third, "--to", receiver.target(), "--duration", "1.1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, HasSubstr("PAT@0x0000 v9"));
  EXPECT_THAT(result.output, HasSubstr("CAT@0x0001 v5"));
}

TEST_F(Program, RepeatsTablesAsTheSetsAndTheCommandLineSay) {
  const std::string first = file("a.json", R"({"periods": {"pat": 100, "cat": 110, "nit": 120}})");
  const std::string tables = file("b.json", R"({"periods": {"cat": 130, "nit": 140},
      "pat": {"transport_stream_id": 1, "version_number": 3, "programs": []}, "cat": {"version_number": 7},
      "nit": {"network_id": 1, "version_number": 2, "transport_streams": []}})");
  const Receiver receiver;
  for (const std::string timing : {"standards", "classic"}) {
    const Result result = run({"play", "--period", "nit=150", first, "--period", "pmt=160", tables, "--to",
                               receiver.target(), "--duration", "1.1", "--timing", timing, "--datagram-wait", "0"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, MatchesRegex("(.|\n)*PAT@[^@]*/100 ms(.|\n)*"));
    EXPECT_THAT(result.output, MatchesRegex("(.|\n)*CAT@[^@]*/130 ms(.|\n)*"));
    EXPECT_THAT(result.output, MatchesRegex("(.|\n)*NIT actual@[^@]*/150 ms(.|\n)*"));
  }
}

TEST_F(Program, LetsPacketsWaitForOthersAsLongAsItIsTold) {
  const std::string tables = file("a.json", R"({"periods": {"pat": 8000, "cat": 8050},
      "pat": {"transport_stream_id": 1, "version_number": 3, "programs": []}, "cat": {"version_number": 7}})");
  const Receiver receiver;
  const Result result =
      run({"play", tables, "--to", receiver.target(), "--duration", "8", "--datagram-wait", "1000", "--quiet"});
  EXPECT_EQ(result.status, 0) << result.errors;
  std::string last;
  for (std::string datagram; !(datagram = receiver.receive(0)).empty();) last = datagram;
  EXPECT_EQ(last.size(), 2 * 188U) << "the PAT of 7320 ms has waited for the CAT of 7366, as it may until 7480";
}

TEST_F(Program, NamesFileAndPlaceOfAPeriodThatCannotBe) {
  const std::string unknown = file("a.json", R"({"periods": {"pat": 100, "bat": 100}})");
  EXPECT_EQ(playError(unknown), "servicemux: " + unknown + ": /periods/bat: unknown field\n");
  const std::string low = file("b.json", R"({"periods": {"pat": 24}})");
  EXPECT_EQ(playError(low), "servicemux: " + low + ": /periods/pat: 24 ms is below 25 ms\n");
  EXPECT_EQ(playError(file("c.json", R"({"periods": {"pat": 100}})")), "servicemux: there is no table to send\n");
}

TEST_F(Program, WarnsOfAPeriodThatIsTooLongForAStandard) {
  const Receiver receiver;
  const Result result =
      run({"play", file("pat.json", kPat), "--to", receiver.target(), "--duration", "0.1", "--period", "pat=600"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("servicemux: period of pat: 600 ms is above the 500 ms of TR 101 290\n"));
}

TEST_F(Program, SendsTheEitsOfAllStreamsUnlessTheTimingIsClassic) {
  tables::TableSet set;
  thrift::dvb_tables::EIT eit;
  eit.__set_sectioning(thrift::dvb_tables::EITSectioning::STANDARD);
  eit.table_id = 0x4F;
  eit.service_id = 7;
  eit.events = {makeEvent({1, 0xE489120000})};
  for (eit.transport_stream_id = 1; eit.transport_stream_id <= 2; ++eit.transport_stream_id)
    set.eitPf.push_back(eit);
  const std::string json = file("a.json", tables::writeTableSet(set));
  const Receiver receiver;
  const std::vector<std::string> play{"play", json, "--to", receiver.target(), "--duration", "1.1"};
  const auto playWith = [&](const std::string& timing) {
    std::vector<std::string> arguments = play;
    arguments.insert(arguments.end(), {"--timing", timing});
    return run(arguments);
  };
  for (const Result& standards : {run(play), playWith("standards")}) {
    EXPECT_EQ(standards.errors, "");
    EXPECT_THAT(standards.output, HasSubstr("EIT p/f other 7 of 1/0@"));
    EXPECT_THAT(standards.output, HasSubstr("EIT p/f other 7 of 2/0@"));
  }
  const Result classic = playWith("classic");
  EXPECT_EQ(classic.errors,
            "servicemux: EIT p/f other 7: of transport streams 1 and 2 only the latter's is sent\n");
  EXPECT_THAT(classic.output, HasSubstr("EIT p/f other 7@"));
}

TEST_F(Program, WarnsOfAVersionThatTheWireHasNoRoomFor) {
  const Receiver receiver;
  const Result result = run({"play", file("a.json", R"({"cat": {"version_number": 40}})"), "--to",
                             receiver.target(), "--duration", "1.1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("servicemux: CAT: version 40 is above 31 and is sent as 0\n"));
  EXPECT_THAT(result.output, HasSubstr("CAT@0x0001 v0"));
}

TEST_F(Program, ChecksTheExamplesAndTellsWhatTheirPidsNeed) {
  for (const auto& entry : fs::directory_iterator(SERVICEMUX_EXAMPLES)) {
    const Result result = run({"check", entry.path()});
    EXPECT_EQ(result.status, 0) << entry.path() << result.output;
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, HasSubstr("PID         KBIT/S  TABLES\n0x0000         7.5  PAT\n"));
    EXPECT_THAT(result.output, HasSubstr("  of 1 024\n"));
  }
}

TEST_F(Program, ChecksEveryTableAndEveryFileBeforeItEnds) {
  const std::string bad =
      file("bad.json", R"({"pat": {}, "pmts": [{"program_number": 1}, {"program_number": 0}]})");
  const std::string worse = file("worse.json", "{");
  const Result result = run({"check", bad, worse});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output.substr(0, result.output.find(worse)),
            "error: " + bad + ": /pat/transport_stream_id: missing field\nerror: " + bad +
                ": /pmts/0/pcr_pid: missing field\nerror: " + bad +
                ": /pmts/1/program_number: 0 is below 1\nerror: ");
  EXPECT_THAT(result.output, HasSubstr("error: " + worse + ": line 1, column 2: "));
}

TEST_F(Program, ChecksWhatPlayRefusesAndWarnsOfInTheSameWords) {
  const std::string pmt =
      file("pmt.json", R"({"pmts": [{"program_number": 1, "pcr_pid": 8191, "version_number": 1, "streams": []}]})");
  EXPECT_EQ(run({"check", pmt}).output, "error: PMT 1: it has no PID, and no PAT names the program\n");
  const std::string seldom = file("seldom.json", kCat);
  const Result warned = run({"check", seldom, "--period", "cat=600"});
  EXPECT_EQ(warned.status, 0);
  EXPECT_THAT(warned.output,
              StartsWith("warning: period of cat: 600 ms is above the 500 ms of common practice\n\nPID"));
  EXPECT_EQ(run({"check", seldom, "--period", "cat=600", "--strict"}).status, 1);
  EXPECT_EQ(run({"check", seldom, "--strict"}).status, 0);
  EXPECT_EQ(run({"check", file("none.json", "{}")}).output, "error: there is no table to send\n");
}

TEST_F(Program, ChecksVersionsAndReferencesAtTheirPlaceInTheLaterFile) {
  const std::string first = file("first.json", kPat);
  const std::string later = file("later.json", R"({"pmts": [
      {"program_number": 2, "pid": 300, "pcr_pid": 8191, "version_number": 32, "streams": []},
      {"program_number": 1, "pcr_pid": 8191, "version_number": 1, "streams": []}]})");
  const Result result = run({"check", first, later});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "error: " + later + ": /pmts/0/version_number: 32 is above 31\n" +
                               "warning: PMT 2: version 32 is above 31 and is sent as 0\nwarning: " + later +
                               ": /pmts/0: PMT 2 is not in the PAT\n");
}

TEST_F(Program, ChecksWhetherAllFitsUnderTheBitrate) {
  const std::string pat = file("pat.json", kPat);
  const Result result = run({"check", pat, "--bitrate", "5"});
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.output, StartsWith("warning: needs 8 of 5 kbit/s: all periods are 1.57 times as long\n"));
  EXPECT_EQ(run({"check", pat, "--bitrate", "8"}).status, 0);
  const Result classic = run({"check", pat, "--bitrate", "5", "--timing", "classic"});
  EXPECT_EQ(classic.status, 4);
  EXPECT_THAT(classic.output, StartsWith("warning: needs 7.5 of 5 kbit/s\n"));
}

TEST_F(Program, ChecksIntoJson) {
  const std::string pat = file("pat.json", kPat);
  const auto json = tables::parseJson(run({"check", pat, "--json", "--bitrate", "5"}).output);
  EXPECT_EQ(json["findings"][0]["severity"], "warning");
  EXPECT_EQ(json["pids"][0]["pid"], 0);
  EXPECT_EQ(json["pids"][0]["tables"][0]["name"], "PAT");
  EXPECT_EQ(json["kbps"], 7.52);
  EXPECT_EQ(json["fits"], false);
  const auto bad = tables::parseJson(run({"check", file("bad.json", R"({"pat": {}})"), "--json"}).output);
  EXPECT_EQ(bad["findings"][0]["path"], "/pat/transport_stream_id");
  EXPECT_FALSE(bad.contains("pids"));
}

TEST_F(Program, ChecksACaptureAndTellsWhatIsLost) {
  const std::string capture = file("a.bin", "rubbish");
  const Result result = run({"check", capture});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, StartsWith("error: " + capture + ": "));
}

TEST_F(Program, TellsTheDifferencesOfTwoFiles) {
  const std::string before = file("before.json", kPat);
  const std::string after = file(
      "after.json",
      R"({"cat": {"version_number": 1}, "pat": {"transport_stream_id": 1, "version_number": 4, "programs": [{"program_number": 1, "pid": 257}]}})");
  const Result result = run({"diff", before, after});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output,
            "~ PAT: /programs/0/pid: \"0x0100\" -> \"0x0101\"\n~ PAT: /version_number: 3 -> 4\n+ CAT\n");
  EXPECT_EQ(result.errors, "");
  const Result same = run({"diff", before, before});
  EXPECT_EQ(same.status, 0);
  EXPECT_EQ(same.output, "");
  const auto json = tables::parseJson(run({"diff", before, after, "--json"}).output);
  EXPECT_EQ(json[0]["change"], "changed");
  EXPECT_EQ(json[0]["path"], "/programs/0/pid");
  EXPECT_EQ(json[2]["change"], "added");
  EXPECT_EQ(json[2]["after"]["version_number"], 1);
}

TEST_F(Program, ComparesACaptureWithWhatIsImportedOfIt) {
  std::string sections;
  for (const std::string& section : sectionsOf(makePat(3, 5))) sections += section;
  const std::string capture = file("a.bin", sections);
  EXPECT_EQ(run({"import", capture, "-o", (directory / "a.json").string()}).status, 0);
  EXPECT_EQ(run({"diff", capture, (directory / "a.json").string()}).status, 0);
}

TEST_F(Program, DiffHasTheTroubleOfDiff) {
  const std::string good = file("good.json", kPat);
  const Result result = run({"diff", good, file("bad.json", R"({"pat": {}})")});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("bad.json: /pat/transport_stream_id: missing field\n"));
  EXPECT_EQ(run({"diff", good}).status, 2);
}

TEST_F(Program, KeepsDumpFilesWhileOnAir) {
  fs::create_directory(directory / "dumps");
  const Receiver receiver;
  const pid_t child =
      start({"play", file("pat.json", kPat), "--to", receiver.target(), "--dump", (directory / "dumps").string()});
  EXPECT_NE(receiver.receive(60000), "");
  EXPECT_TRUE(fs::exists(directory / "dumps" / "table_PAT_3.bin"));
  kill(child, SIGINT);
  EXPECT_EQ(finish(child).status, 0);
  EXPECT_TRUE(fs::is_empty(directory / "dumps"));
}

TEST_F(Program, ImportsACaptureToStdout) {
  const Result result = run({"import", file("a.ts", Packer(0).apart(sectionsOf(makePat(5, 2))))});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(tables::readTableSet(result.output).pat, makePat(5, 2));
  EXPECT_THAT(result.errors, HasSubstr("PAT                     0x0000         1  imported, version 5\n"));
}

TEST_F(Program, ImportsACaptureToAFile) {
  const std::string capture = file("a.bin", sectionsOf(makeNit(5, 2))[0]);
  const Result result = run({"import", capture, "-o", (directory / "out.json").string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(tables::readTableSet(contentsOf("out.json")).nit, makeNit(5, 2));
  const Result failed = run({"import", capture, "-o", "/no/such/place.json"});
  EXPECT_EQ(failed.status, 3);
  EXPECT_THAT(failed.errors, HasSubstr("\nservicemux: /no/such/place.json: No such file or directory\n"));
}

TEST_F(Program, SaysWhenThereIsNothingToImport) {
  const std::string path = file("a.bin", makeSection(0x90, 1, 0, 0, 0, ""));
  const std::string output = file("out.json", "kept");
  for (const Result& result : {run({"import", path}), run({"import", path, "-o", output})}) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, HasSubstr("\nservicemux: " + path + ": nothing to import\n"));
  }
  EXPECT_EQ(contentsOf("out.json"), "kept");
}

TEST_F(Program, ImportsFromStdin) {
  input = file("a.ts", "junk" + Packer(0).apart(sectionsOf(makePat(5, 2))));
  const Result result = run({"import", "-"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(tables::readTableSet(result.output).pat, makePat(5, 2));
  EXPECT_THAT(result.errors, HasSubstr("-: 1 packet, 1 section\n"));
  EXPECT_THAT(result.errors, HasSubstr("  skipped 4 bytes that make no packet, in 1 place\n"));
}

TEST_F(Program, ImportsWhateverHoldsTheStream) {
  const std::string stream = Packer(0).apart(sectionsOf(makePat(5, 2)));
  const std::string capture =
      pcap({ethernet(udpOverIp(kIpv4Group, 5004, stream)), ethernet(udpOverIp(kIpv4Group, 5006, stream))});
  for (const std::string& bytes : {stream, gzipped(stream), xzipped(stream), capture, gzipped(capture)}) {
    const Result result = run({"import", file("capture", bytes)});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(tables::readTableSet(result.output).pat, makePat(5, 2));
  }
  const Result other = run({"import", file("capture", capture), "--stream", "239.1.2.3:5006"});
  EXPECT_EQ(other.status, 0);
  EXPECT_THAT(other.errors, HasSubstr("the stream to 239.1.2.3:5006 is read; there are others to 239.1.2.3:5004"));
}

TEST_F(Program, SaysThatANetworkCaptureHoldsNoPackets) {
  const std::string path = file("a.pcap", pcap({ethernet(udpOverIp(kIpv4Group, 5004, "hello"))}));
  const Result result = run({"import", path});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "servicemux: " + path + ": holds no packets of a transport stream\n");
}

TEST_F(Program, NeverWritesOverItsInput) {
  const std::string path = file("a.json", kCat);
  fs::create_symlink(path, directory / "link.json");
  for (const std::string& output :
       {path, (directory / "link.json").string(), (directory / "." / "a.json").string()}) {
    const Result result = run({"import", path, "-o", output});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "servicemux: --output: '" + output + "' is the input\n");
  }
  EXPECT_EQ(contentsOf("a.json"), kCat);
}

TEST_F(Program, NamesAReadErrorAsWhatItIs) {
  const Result directoryError = run({"import", directory.string()});
  EXPECT_EQ(directoryError.status, 1);
  EXPECT_EQ(directoryError.errors, "servicemux: " + directory.string() + ": is a directory\n");
  const Result readError = run({"import", "/proc/self/mem"});  // nothing is mapped at 0
  EXPECT_EQ(readError.status, 1);
  EXPECT_EQ(readError.errors, "servicemux: /proc/self/mem: Input/output error\n");
  EXPECT_EQ(playError("/proc/self/mem"), "servicemux: /proc/self/mem: Input/output error\n");
}

TEST_F(Program, ImportsNoVersionThatTheWireHasNoRoomFor) {
  const std::string cat = file("a.json", R"({"cat": {"version_number": 32}})");
  const Result result = run({"import", cat});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "servicemux: " + cat + ": /cat/version_number: 32 is above 31\n");
  const std::string pmt = file("b.json", R"({"pmts": [{"program_number": 1, "pid": 256, "pcr_pid": 1,
      "version_number": 31, "streams": []}, {"program_number": 2, "pid": 257, "pcr_pid": 1, "version_number": 99,
      "streams": []}]})");
  EXPECT_EQ(run({"import", pmt}).errors, "servicemux: " + pmt + ": /pmts/1/version_number: 99 is above 31\n");
  EXPECT_EQ(run({"import", file("c.json", R"({"cat": {"version_number": 31}})")}).status, 0);
}

TEST_F(Program, TakesTheDefaultCharsetForTextsThatNameNone) {
  auto nit = makeNit(5, 2);
  nit.descriptors.resize(1);
  nit.descriptors[0].tag = 0x40;
  nit.descriptors[0].data =
      "T\xFCrk\xE7"
      "e";
  const std::string path = file("a.bin", sectionsOf(nit)[0]);
  const Result turkish = run({"import", path, "--default-charset", "ISO-8859-9"});
  EXPECT_EQ(turkish.status, 0);
  EXPECT_THAT(turkish.output, HasSubstr(R"({"text": "Türkçe", "charset": "ISO-8859-9"})"));
  EXPECT_EQ(tables::readTableSet(turkish.output).nit, nit);
  EXPECT_EQ(tables::readTableSet(run({"import", path}).output).nit, nit);
}

TEST_F(Program, ImportsALiveInputForItsDurationOrUntilASignal) {
  const int port = Receiver().udpPort();  // free again
  const std::string input = "udp://127.0.0.1:" + std::to_string(port);
  const std::string output = (directory / "out.json").string();
  const Result nothing = run({"import", input, "--duration", "0.1"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_THAT(nothing.errors, HasSubstr("servicemux: " + input + ": nothing to import\n"));
  const pid_t child = start({"import", input, "-o", output});
  const std::string stream = Packer(0).apart(sectionsOf(makePat(5, 2)));
  // It is heard once it listens; whoever sends before gets nothing.
  for (int tries = 0; tries < 3000 && !isReceived(port, stream); ++tries)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  kill(child, SIGINT);
  const Result result = finish(child);
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(tables::readTableSet(contentsOf("out.json")).pat, makePat(5, 2));
}

TEST_F(Program, PlaysAnImportWithoutEmmsAndLogsNoError) {
  const Receiver receiver;
  const std::string json = file("a.json", R"({"conditional_access": {"scrambler_type": 3,
      "ecm_pids": [{"usid": 1, "pids": ["0x0100"]}], "ecms": [{"pid": 256, "sections": "8070010a"}]}})");
  const Result result = run({"play", json, "--to", receiver.target(), "--duration", "0.3", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
}

TEST_F(Program, ImportsWhatHasNoKindOfItsOwnUnlessItIsToldNotTo) {
  const std::string tsdt = makeSection(0x03, 0xFFFF, 0, 0, 0, "");
  const std::string capture = file("a.bin", tsdt + sectionsOf(makePat(5, 2))[0]);
  const Result all = run({"import", capture});
  EXPECT_EQ(all.status, 0);
  ASSERT_EQ(tables::readTableSet(all.output).sections.size(), 1U);
  EXPECT_EQ(tables::readTableSet(all.output).sections[0].sections[0], tsdt);
  EXPECT_THAT(all.errors, HasSubstr("kept as sections, 1 table\n"));
  const Result known = run({"import", capture, "--known-only"});
  EXPECT_EQ(known.status, 0);
  EXPECT_EQ(tables::readTableSet(known.output).sections.size(), 0U);
  EXPECT_EQ(tables::readTableSet(known.output).pat, makePat(5, 2));
  EXPECT_THAT(known.errors, HasSubstr("TSDT                                   1  skipped\n"));
}

TEST_F(Program, PlaysWholeSectionsWithEitherTimingAsFarAsThatCan) {
  const std::string bat = makeSection(0x4A, 500, 3, 0, 0, "anything");
  const std::string files = file("a.bin", bat + sectionsOf(makeSdt(1, 1, 1), 0x42)[0]);
  const Receiver receiver;
  const auto play = [&](const char* timing) {
    return run({"play", files, "--to", receiver.target(), "--timing", timing, "--duration", "0.5", "--quiet"});
  };
  const Result standards = play("standards");
  EXPECT_EQ(standards.status, 0);
  EXPECT_EQ(standards.errors, "");
  const Result classic = play("classic");
  EXPECT_EQ(classic.status, 0);
  EXPECT_THAT(classic.errors, HasSubstr("pid: 0x0011 has other tables, which the classic timing keeps apart"));
}

TEST_F(Program, PlaysTheExamples) {
  for (const auto& entry : fs::directory_iterator(SERVICEMUX_EXAMPLES)) {
    if (entry.path().extension() != ".json") continue;
    const Receiver receiver;
    const Result result =
        run({"play", entry.path().string(), "--to", receiver.target(), "--duration", "0.3", "--quiet"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(receiver.receive(0), "") << entry.path();
  }
}

}  // namespace
}  // namespace vantor
