#include "servicemux/muxer/SharedPids.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servicemux/muxer/StandardsPace.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "tests/servicemux/muxer/ClassicStream.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vantor::muxed_stream;
using vantor::SharedPids;

constexpr unsigned short kPid = 0x11;

/// A stream that has sent a packet with this counter last.
class SharingStream : public ClassicStream {
 public:
  SharingStream(Tenancy tenancy, unsigned char cc, unsigned short pid = kPid)
      : ClassicStream(nullptr, pid, true, cc, tenancy) {}
  ~SharingStream() override { unlinkFromMuxer(); }

  unsigned int getBitrate() override { return 0; }
  int get_packet(signed char*, time_point, time_point&) override { return 0; }
  void beginClassic(time_point) override { ++begun; }

  int begun = 0;
};

constexpr auto kGuest = muxed_stream::Tenancy::kGuest;
constexpr auto kOwner = muxed_stream::Tenancy::kOwner;

class SharedPidsTest : public testing::Test {
 protected:
  SharedPidsTest() { shared.add(kPid); }

  /// What is told with the classic timing: "-" and the PID where a guest has fallen silent, "+" where it is heard.
  std::vector<std::string> told(bool isClassic = true) {
    std::vector<std::string> all;
    for (const auto& change : shared.take(isClassic))
      all.push_back((change.isSilent ? "-" : "+") + std::to_string(change.pid));
    return all;
  }

  SharedPids shared;
  vantor::StandardsPace pace;
  SharingStream guest{kGuest, muxed_stream::kNoCC};
  SharingStream owner{kOwner, muxed_stream::kNoCC};
};

}  // namespace

TEST_F(SharedPidsTest, AGuestAloneIsHeard) {
  shared.joined(guest, {&guest});
  EXPECT_FALSE(guest.isSilent());
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(SharedPidsTest, AGuestBesideAnotherStreamIsSilentAndToldOnce) {
  shared.joined(guest, {&owner, &guest});
  EXPECT_TRUE(guest.isSilent());
  EXPECT_FALSE(owner.isSilent());
  EXPECT_THAT(told(), ElementsAre("-17"));
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(SharedPidsTest, WhoComesContinuesTheGuestsCounter) {
  guest.continueFrom(9);
  owner.continueFrom(3);
  shared.joined(owner, {&guest, &owner});
  EXPECT_EQ(owner.GetLastCC(), 9);
  EXPECT_TRUE(guest.isSilent());
}

TEST_F(SharedPidsTest, TheGuestContinuesTheCounterOfWhoHasGone) {
  shared.joined(guest, {&owner, &guest});
  owner.continueFrom(12);
  guest.continueFrom(4);
  shared.left(owner, {&guest});
  EXPECT_FALSE(guest.isSilent());
  EXPECT_EQ(guest.GetLastCC(), 12);
  EXPECT_EQ(guest.begun, 1) << "it begins anew";
  EXPECT_THAT(told(), IsEmpty()) << "nobody was told of its silence";
}

TEST_F(SharedPidsTest, ThatItIsHeardAgainIsTold) {
  shared.joined(guest, {&owner, &guest});
  EXPECT_THAT(told(), ElementsAre("-17"));
  shared.left(owner, {&guest});
  EXPECT_THAT(told(), ElementsAre("+17"));
}

TEST_F(SharedPidsTest, ASilentGuestThatGoesIsNotHeardAgain) {
  shared.joined(guest, {&owner, &guest});
  EXPECT_THAT(told(), ElementsAre("-17"));
  shared.left(guest, {&owner});
  EXPECT_THAT(told(), IsEmpty());
  shared.left(owner, {});
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(SharedPidsTest, ASilentGuestsCounterIsNotThatOfThePid) {
  shared.joined(guest, {&owner, &guest});
  owner.continueFrom(12);
  guest.continueFrom(4);
  SharingStream next(kOwner, muxed_stream::kNoCC);
  shared.joined(next, {&owner, &guest, &next});
  EXPECT_EQ(next.GetLastCC(), 12);
}

TEST_F(SharedPidsTest, OneOfSeveralThatGoesLeavesTheGuestSilent) {
  SharingStream second(kOwner, 5);
  shared.joined(guest, {&owner, &second, &guest});
  shared.left(owner, {&second, &guest});
  EXPECT_TRUE(guest.isSilent());
}

TEST_F(SharedPidsTest, TheTimingOfTheStandardsContinuesTheCounterAndHearsEverybody) {
  shared.joined(guest, {&owner, &guest});
  EXPECT_THAT(told(), ElementsAre("-17"));
  owner.continueFrom(12);
  guest.continueFrom(4);
  shared.begin(pace, {&guest, &owner});
  EXPECT_EQ(pace.counterOf(kPid), 12);
  EXPECT_FALSE(guest.isSilent());
  EXPECT_THAT(told(false), ElementsAre("+17"));
}

TEST_F(SharedPidsTest, TheClassicTimingContinuesTheCounterInEveryStream) {
  pace.continueFrom(kPid, 7);
  guest.continueFrom(3);
  owner.continueFrom(2);
  shared.end(pace, {&guest, &owner});
  EXPECT_EQ(guest.GetLastCC(), 7);
  EXPECT_EQ(owner.GetLastCC(), 7);
  EXPECT_TRUE(guest.isSilent());
  EXPECT_THAT(told(), ElementsAre("-17"));
}

TEST_F(SharedPidsTest, ACounterOutlivesTheStreamsThatSentIt) {
  pace.continueFrom(kPid, 7);
  shared.end(pace, {});
  shared.joined(guest, {&guest});
  EXPECT_EQ(guest.GetLastCC(), 7);
}

TEST_F(SharedPidsTest, APidThatHasNotSentLeavesTheCountersAlone) {
  guest.continueFrom(3);
  shared.end(pace, {&guest});
  EXPECT_EQ(guest.GetLastCC(), 3);
}

TEST_F(SharedPidsTest, OtherPidsAreLeftAlone) {
  SharingStream elsewhere(kOwner, 5, 0x12);
  EXPECT_FALSE(shared.has(0x12));
  shared.end(pace, {&guest, &elsewhere});
  EXPECT_EQ(elsewhere.GetLastCC(), 5);
  EXPECT_FALSE(guest.isSilent());
}

TEST_F(SharedPidsTest, SilenceThatIsAboutToEndIsNotTold) {
  shared.joined(guest, {&owner, &guest});
  EXPECT_THAT(told(false), IsEmpty());
  shared.begin(pace, {&guest, &owner});
  EXPECT_THAT(told(false), IsEmpty());
}
