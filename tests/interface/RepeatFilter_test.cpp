#include "interface/host_default/RepeatFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace vantor {

bool operator==(const RepeatFilter::Summary& a, const RepeatFilter::Summary& b) {
  return a.text == b.text && a.count == b.count;
}

namespace {

class RepeatFilterTest : public testing::Test {
 protected:
  using Summaries = std::vector<RepeatFilter::Summary>;

  /// Offers the text so many times at this moment. Returns how many passed.
  int offer(const std::string& text, int times) {
    int passed = 0;
    for (int i = 0; i < times; ++i) {
      for (auto& summary : filter.takeEnded(now)) summaries.push_back(summary);
      if (filter.passes(text, now)) ++passed;
    }
    return passed;
  }

  RepeatFilter filter;
  RepeatFilter::Time now{1000h};
  Summaries summaries;  // taken on the way
};

}  // namespace

TEST_F(RepeatFilterTest, TenEqualMessagesASecondPass) {
  for (int second = 0; second < 5; ++second) {
    EXPECT_EQ(offer("a", 10), 10);
    now += 1s;
  }
  EXPECT_THAT(summaries, IsEmpty());
  EXPECT_THAT(filter.takeAll(), IsEmpty());
}

TEST_F(RepeatFilterTest, TheEleventhIsCounted) {
  EXPECT_EQ(offer("a", 4221), 10);
  now += 999ms;
  EXPECT_THAT(filter.takeEnded(now), IsEmpty());
  now += 1ms;
  EXPECT_THAT(filter.takeEnded(now), ElementsAre(RepeatFilter::Summary{"a", 4211}));
}

TEST_F(RepeatFilterTest, AFloodYieldsOneSummaryASecondAndNothingElse) {
  EXPECT_EQ(offer("a", 100), 10);
  for (int second = 0; second < 3; ++second) {
    now += 1s;
    EXPECT_EQ(offer("a", 100), 0);
  }
  now += 1s;
  EXPECT_THAT(filter.takeEnded(now), ElementsAre(RepeatFilter::Summary{"a", 100}));
  EXPECT_THAT(summaries, ElementsAre(RepeatFilter::Summary{"a", 90}, RepeatFilter::Summary{"a", 100},
                                     RepeatFilter::Summary{"a", 100}));
}

TEST_F(RepeatFilterTest, ASecondWithoutFloodEndsIt) {
  offer("a", 100);
  now += 1s;
  EXPECT_EQ(offer("a", 10), 0);
  now += 1s;
  EXPECT_EQ(offer("a", 10), 10);
  EXPECT_THAT(summaries, ElementsAre(RepeatFilter::Summary{"a", 90}, RepeatFilter::Summary{"a", 10}));
}

TEST_F(RepeatFilterTest, SilenceAfterAFloodLeavesNothingToSummarise) {
  offer("a", 100);
  now += 1s;
  EXPECT_THAT(filter.takeEnded(now), ElementsAre(RepeatFilter::Summary{"a", 90}));
  now += 1s;
  EXPECT_THAT(filter.takeEnded(now), IsEmpty());
  EXPECT_EQ(offer("a", 10), 10);
}

TEST_F(RepeatFilterTest, InterleavedFloodsAreCountedEachByItself) {
  int passed = 0;
  for (int i = 0; i < 1000; ++i) passed += offer("[one] lost", 1) + offer("[two] lost", 1);
  EXPECT_EQ(passed, 20);
  EXPECT_EQ(offer("[three] lost", 1), 1);
  EXPECT_THAT(filter.takeAll(),
              ElementsAre(RepeatFilter::Summary{"[one] lost", 990}, RepeatFilter::Summary{"[two] lost", 990}));
}

TEST_F(RepeatFilterTest, EachTextHasASecondOfItsOwn) {
  offer("a", 11);
  now += 600ms;
  offer("b", 12);
  now += 400ms;
  EXPECT_THAT(filter.takeEnded(now), ElementsAre(RepeatFilter::Summary{"a", 1}));
  now += 600ms;
  EXPECT_THAT(filter.takeEnded(now), ElementsAre(RepeatFilter::Summary{"b", 2}));
}

TEST_F(RepeatFilterTest, WhatIsTakenAtTheEndIsForgotten) {
  offer("a", 15);
  EXPECT_THAT(filter.takeAll(), ElementsAre(RepeatFilter::Summary{"a", 5}));
  EXPECT_THAT(filter.takeAll(), IsEmpty());
  EXPECT_EQ(offer("a", 10), 10);
}

TEST_F(RepeatFilterTest, ManyTextsPassAndDoNotDriveOutAFlood) {
  offer("flood", 20);
  for (std::size_t i = 0; i < 10 * RepeatFilter::kMaxTexts; ++i) EXPECT_EQ(offer(std::to_string(i), 1), 1);
  EXPECT_EQ(offer("flood", 20), 0);
  EXPECT_EQ(offer("one too many to be remembered", 50), 50);
  EXPECT_THAT(filter.takeAll(), ElementsAre(RepeatFilter::Summary{"flood", 30}));
}

TEST_F(RepeatFilterTest, TextsGiveUpTheirPlaceAfterTheirSecond) {
  for (std::size_t i = 0; i < RepeatFilter::kMaxTexts; ++i) offer(std::to_string(i), 1);
  now += 1s;
  EXPECT_EQ(offer("new", 20), 10);
}

TEST_F(RepeatFilterTest, AClockThatIsSetBackDoesNotProlongASecond) {
  offer("a", 20);
  now -= 24h;
  EXPECT_EQ(offer("a", 5), 0);
  EXPECT_THAT(summaries, ElementsAre(RepeatFilter::Summary{"a", 10}));
  now += 1s;
  EXPECT_EQ(offer("a", 10), 10);
}

TEST_F(RepeatFilterTest, MessagesThatOvertakeOneAnotherBelongToTheSameSecond) {
  EXPECT_EQ(offer("a", 6), 6);
  now -= 5ms;
  EXPECT_EQ(offer("a", 6), 4);
}

}  // namespace vantor
