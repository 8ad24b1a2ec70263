#include "programs/servicemux/ListView.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/servicemux/withoutStyles.h"

namespace vantor::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::withoutStyles;

Row makeRow(const std::string& name, unsigned pid, double severity = 0) {
  Row row;
  row.name = name;
  row.line = {kPlain, name};
  row.pid = pid;
  row.severity = severity;
  row.off = severity > 1;
  return row;
}

/// "a" to "j", of which "g" and "i" are off.
ListBlock makeBlock() {
  ListBlock block;
  block.head = {{kBold, "title"}, {kDim, "columns"}};
  for (char name = 'a'; name <= 'j'; ++name)
    block.rows.push_back(makeRow(std::string(1, name), static_cast<unsigned>('z' - name),
                                 name == 'g'   ? 2
                                 : name == 'i' ? 3
                                               : 0.5));
  block.foot = {{kDim, "foot"}};
  return block;
}

class ListViews : public ::testing::Test {
 protected:
  std::vector<std::string> seen(std::size_t rows, std::size_t columns = 80) {
    std::vector<std::string> out;
    for (const std::string& line : view.fit(makeBlock(), {columns, rows})) out.push_back(withoutStyles(line));
    return out;
  }

  ListView view{true};
};

TEST_F(ListViews, WhatIsOffComesFirstTheWorstBeforeTheOthers) {
  EXPECT_THAT(seen(24), ElementsAre("title", "columns", "i", "g", "a", "b", "c", "d", "e", "f", "h", "j", "foot"));
}

TEST_F(ListViews, SortsByPidAndByNameInTurn) {
  view.take(Key::kSort);
  EXPECT_THAT(view.keysText("end"), HasSubstr("s: by PID"));
  EXPECT_EQ(seen(24)[2], "j");
  view.take(Key::kSort);
  EXPECT_THAT(view.keysText("end"), HasSubstr("s: by name"));
  EXPECT_EQ(seen(24)[2], "a");
  view.take(Key::kSort);
  EXPECT_THAT(view.keysText("end"), HasSubstr("s: worst first"));
  EXPECT_EQ(seen(24)[2], "i");
}

TEST_F(ListViews, ScrollsLineByLine) {
  EXPECT_THAT(seen(9), ElementsAre("title", "columns", "i", "g", "a", "b", "  and 6 more", "foot"));
  view.take(Key::kDown);
  EXPECT_THAT(seen(9), ElementsAre("title", "columns", "g", "a", "b", "c",
                                   "  1 above, and 5 more, 1 of them off their limits", "foot"));
  view.take(Key::kUp);
  view.take(Key::kUp);
  EXPECT_EQ(seen(9)[2], "i");
}

TEST_F(ListViews, ScrollsPageByPage) {
  static_cast<void>(seen(9));
  view.take(Key::kPageDown);
  EXPECT_THAT(seen(9), ElementsAre("title", "columns", "c", "d", "e", "f",
                                   "  4 above, and 2 more, 2 of them off their limits", "foot"));
  view.take(Key::kPageDown);
  EXPECT_THAT(seen(9),
              ElementsAre("title", "columns", "e", "f", "h", "j", "  6 above, 2 of them off their limits", "foot"));
  view.take(Key::kPageUp);
  EXPECT_EQ(seen(9)[2], "a");
}

TEST_F(ListViews, GoesToTheEndAndBack) {
  view.take(Key::kEnd);
  EXPECT_EQ(seen(9)[5], "j");
  view.take(Key::kUp);
  EXPECT_EQ(seen(9)[5], "h") << "one up from the end is one up";
  view.take(Key::kHome);
  EXPECT_EQ(seen(9)[2], "i");
}

TEST_F(ListViews, AnotherOrderBeginsAtItsTop) {
  view.take(Key::kEnd);
  static_cast<void>(seen(9));
  view.take(Key::kSort);
  EXPECT_EQ(seen(9)[2], "j");
}

TEST_F(ListViews, OnALowScreenTheListGoesBeforeWhatIsAroundIt) {
  EXPECT_THAT(seen(6), ElementsAre("columns", "i", "g", "a", "  and 7 more"));
  EXPECT_THAT(seen(5), ElementsAre("i", "g", "a", "  and 7 more"));
  EXPECT_THAT(seen(3), ElementsAre("i", "  and 9 more, 1 of them off their limits"));
  EXPECT_THAT(seen(2), ElementsAre("i"));
}

TEST_F(ListViews, NoLineIsWiderThanTheScreen) {
  for (const std::string& line : seen(9, 3)) EXPECT_LE(line.size(), 3U);
}

TEST_F(ListViews, WithoutKeysNothingIsSaidOfThem) {
  EXPECT_EQ(ListView().keysText("Ctrl-C ends it"), "Ctrl-C ends it");
}

TEST(KeyReader, KnowsTheKeysOfATerminalInBothModes) {
  KeyReader reader;
  EXPECT_THAT(reader.take("\x1b[A\x1b[B\x1bOA\x1bOB"), ElementsAre(Key::kUp, Key::kDown, Key::kUp, Key::kDown));
  EXPECT_THAT(reader.take("\x1b[5~\x1b[6~"), ElementsAre(Key::kPageUp, Key::kPageDown));
  EXPECT_THAT(reader.take("\x1b[H\x1bOH\x1b[1~\x1b[7~"),
              ElementsAre(Key::kHome, Key::kHome, Key::kHome, Key::kHome));
  EXPECT_THAT(reader.take("\x1b[F\x1bOF\x1b[4~\x1b[8~"), ElementsAre(Key::kEnd, Key::kEnd, Key::kEnd, Key::kEnd));
  EXPECT_THAT(reader.take("sq"), ElementsAre(Key::kSort, Key::kQuit));
}

TEST(KeyReader, TakesASequenceInPieces) {
  KeyReader reader;
  EXPECT_THAT(reader.take("\x1b"), IsEmpty());
  EXPECT_THAT(reader.take("["), IsEmpty());
  EXPECT_THAT(reader.take("6"), IsEmpty());
  EXPECT_THAT(reader.take("~s"), ElementsAre(Key::kPageDown, Key::kSort));
}

TEST(KeyReader, LeavesOutWhatItDoesNotKnow) {
  KeyReader reader;
  EXPECT_THAT(reader.take("x\x1b[Z\x1b[1;5Cs"), ElementsAre(Key::kSort));
}

}  // namespace
}  // namespace vantor::cli
