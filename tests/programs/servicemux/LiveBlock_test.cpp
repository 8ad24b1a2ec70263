#include "programs/servicemux/LiveBlock.h"

#include <gtest/gtest.h>

namespace vantor::cli {
namespace {

TEST(LiveBlock, DrawsTheBlockInPlace) {
  LiveBlock block;
  EXPECT_EQ(block.draw({"a", "b"}), "\x1b[?25l\ra\x1b[K\nb\x1b[K\n\x1b[J");
  EXPECT_EQ(block.draw({"c"}), "\x1b[?25l\r\x1b[2Ac\x1b[K\n\x1b[J");
  EXPECT_EQ(block.end(), "\x1b[?25h");
}

TEST(LiveBlock, PutsTheLogAboveTheBlock) {
  LiveBlock block;
  static_cast<void>(block.draw({"a", "b"}));
  EXPECT_EQ(block.draw({"c", "d"}, "log\n"), "\x1b[?25l\r\x1b[2A\x1b[Jlog\nc\x1b[K\nd\x1b[K\n\x1b[J");
}

}  // namespace
}  // namespace vantor::cli
