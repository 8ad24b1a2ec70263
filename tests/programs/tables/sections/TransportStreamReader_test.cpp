#include "programs/tables/sections/TransportStreamReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/programs/streams.h"

namespace vantor::tables {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::makeSection;
using testing::Packer;
using ::testing::Pair;

class TransportStream : public ::testing::Test {
 protected:
  void put(unsigned pid, unsigned extension) {
    bytes += Packer(pid).apart({makeSection(0x42, extension, 1, 0, 0, "payload")});
  }

  /// PID and extension of each section that was read, when these PIDs are followed from the beginning on.
  std::vector<std::pair<int, int>> read(const std::vector<std::uint16_t>& pids,
                                        std::size_t backlog = TransportStreamReader::kUsualBacklog) {
    std::vector<std::pair<int, int>> found;
    reader.emplace(
        [this, &found](std::uint16_t pid, const Section& section) {
          found.emplace_back(pid, section.extension());
          for (const std::uint16_t next : named[pid]) reader->follow(next);
        },
        [](std::uint16_t pid, SectionFault) { ADD_FAILURE() << "fault on PID " << pid; }, backlog);
    for (const std::uint16_t pid : pids) reader->follow(pid);
    for (std::size_t at = 0; at < bytes.size(); at += kPacketSize)
      reader->push(std::string_view(bytes).substr(at, kPacketSize));
    return found;
  }

  std::string bytes;
  std::map<std::uint16_t, std::vector<std::uint16_t>> named;  // PIDs that come up on a PID
  std::optional<TransportStreamReader> reader;
};

TEST_F(TransportStream, GivesTheSectionsOfThePidsFollowed) {
  put(0x20, 1);
  put(0x21, 2);
  put(0x22, 3);
  EXPECT_THAT(read({0x22, 0x20}), ElementsAre(Pair(0x20, 1), Pair(0x22, 3)));
}

TEST_F(TransportStream, IsReadFromTheBeginningForPidsThatComeUp) {
  put(0x22, 3);
  put(0x21, 2);
  put(0x20, 1);
  put(0x22, 4);
  named = {{0x20, {0x21}}, {0x21, {0x22, 0x20}}};
  EXPECT_THAT(read({0x20}), ElementsAre(Pair(0x20, 1), Pair(0x21, 2), Pair(0x22, 3), Pair(0x22, 4)));
  EXPECT_THAT(reader->missedPackets(), IsEmpty());
}

TEST_F(TransportStream, SaysWhatWasTooFarBeforeItsPidCameUp) {
  put(0x22, 3);
  put(0x22, 4);
  put(0x23, 5);
  put(0x23, 6);
  put(0x20, 1);
  named = {{0x20, {0x22}}};
  EXPECT_THAT(read({0x20}, 3), ElementsAre(Pair(0x20, 1), Pair(0x22, 4)));
  EXPECT_THAT(reader->missedPackets(), ElementsAre(Pair(0x22, 1U)));
}

TEST_F(TransportStream, KeepsNothingOfElementaryStreams) {
  put(0x22, 3);
  const auto packet = [](unsigned char flags, unsigned char control, const std::string& payload) {
    std::string bytes{'\x47', static_cast<char>(flags), '\x23', static_cast<char>(control)};
    bytes += payload;
    bytes.resize(kPacketSize, '\xFF');
    return bytes;
  };
  for (int i = 0; i < 5; ++i) {
    bytes += packet(0x40, 0x10, std::string("\0\0\1\xE0", 4));        // begins a PES packet
    bytes += packet(0x00, 0x10, "more");                              // goes on with it
    bytes += packet(0x40, 0x30, std::string("\2\0\0\0\0\1\xE0", 7));  // behind an adaptation field
    bytes += packet(0x40, 0x90, "scrambled");
    bytes += packet(0x00, 0x30, std::string(1, '\xFF'));  // an adaptation field that is too long
  }
  put(0x20, 1);
  named = {{0x20, {0x22}}};
  EXPECT_THAT(read({0x20}, 1), ElementsAre(Pair(0x20, 1), Pair(0x22, 3)));
}

TEST_F(TransportStream, CountsThePacketsOfOtherPidsButNotNullPackets) {
  put(0x20, 1);
  put(0x30, 2);
  put(0x30, 2);
  put(0x1FFF, 3);
  EXPECT_THAT(read({0x20, 0x1FFF}), ElementsAre(Pair(0x20, 1)));
  EXPECT_THAT(reader->otherPackets(), ElementsAre(Pair(0x30, 2U)));
}

TEST_F(TransportStream, HasNothingWhereNoPidIsFollowed) {
  put(0x20, 1);
  EXPECT_THAT(read({}), IsEmpty());
}

}  // namespace
}  // namespace vantor::tables
