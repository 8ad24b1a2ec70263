#include "programs/tables/sections/TransportStreamReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/streams.h"

namespace vantor::tables::TransportStreamReader_test {
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

  /// PID and extension of each section that was read.
  std::vector<std::pair<int, int>> read(TransportStreamReader& reader) {
    std::vector<std::pair<int, int>> found;
    reader.read(
        [&](std::uint16_t pid, const Section& section) {
          found.emplace_back(pid, section.extension());
          for (const std::uint16_t next : named[pid]) reader.follow(next);
        },
        [](std::uint16_t pid, SectionFault) { ADD_FAILURE() << "fault on PID " << pid; });
    return found;
  }

  std::string bytes;
  std::map<std::uint16_t, std::vector<std::uint16_t>> named;  // PIDs that come up on a PID
};

TEST_F(TransportStream, GivesTheSectionsOfThePidsFollowed) {
  put(0x20, 1);
  put(0x21, 2);
  put(0x22, 3);
  TransportStreamReader reader(bytes);
  reader.follow(0x22);
  reader.follow(0x20);
  EXPECT_THAT(read(reader), ElementsAre(Pair(0x20, 1), Pair(0x22, 3)));
}

TEST_F(TransportStream, IsReadFromTheBeginningForPidsThatComeUp) {
  put(0x22, 3);
  put(0x21, 2);
  put(0x20, 1);
  named = {{0x20, {0x21}}, {0x21, {0x22, 0x20}}};
  TransportStreamReader reader(bytes);
  reader.follow(0x20);
  EXPECT_THAT(read(reader), ElementsAre(Pair(0x20, 1), Pair(0x21, 2), Pair(0x22, 3)));
}

TEST_F(TransportStream, CountsThePacketsOfOtherPidsButNotNullPackets) {
  put(0x20, 1);
  put(0x30, 2);
  put(0x30, 2);
  put(0x1FFF, 3);
  TransportStreamReader reader(bytes);
  reader.follow(0x20);
  reader.follow(0x1FFF);
  EXPECT_THAT(read(reader), ElementsAre(Pair(0x20, 1)));
  EXPECT_EQ(reader.packets(), 4U);
  EXPECT_THAT(reader.otherPackets(), ElementsAre(Pair(0x30, 2U)));
}

TEST_F(TransportStream, HasNothingWhereNoPidIsFollowed) {
  put(0x20, 1);
  TransportStreamReader reader(bytes);
  EXPECT_THAT(read(reader), IsEmpty());
}

}  // namespace
}  // namespace vantor::tables::TransportStreamReader_test
