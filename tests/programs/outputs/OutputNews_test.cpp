#include "programs/outputs/OutputNews.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vantor::outputs {
namespace {

OutputStatus failing(std::uint64_t lost, int error) {
  OutputStatus status;
  status.lost = lost;
  status.error = status.lastError = error;
  return status;
}

OutputStatus working(std::uint64_t lost, int lastError) {
  OutputStatus status = failing(lost, lastError);
  status.error = 0;
  return status;
}

TEST(OutputNews, TellsOfATroubleOnceAndOfItsEnd) {
  OutputNews news;
  EXPECT_EQ(news.update("it", working(0, 0)), "");
  EXPECT_EQ(news.update("it", failing(3, ENETUNREACH)), "it: Network is unreachable; it is tried again");
  EXPECT_EQ(news.update("it", failing(20, ENETUNREACH)), "");
  EXPECT_EQ(news.update("it", failing(20, ENETUNREACH)), "") << "nothing was to be sent meanwhile";
  EXPECT_EQ(news.update("it", working(23, ENETUNREACH)), "") << "some were lost since the last look";
  EXPECT_EQ(news.update("it", working(23, ENETUNREACH)), "it: it works again, 23 datagrams were lost");
  EXPECT_EQ(news.update("it", working(23, ENETUNREACH)), "");
}

TEST(OutputNews, CountsWhatEachTroubleCost) {
  OutputNews news;
  EXPECT_NE(news.update("it", failing(3, EIO)), "");
  EXPECT_EQ(news.update("it", working(3, EIO)), "it: it works again, 3 datagrams were lost");
  EXPECT_NE(news.update("it", failing(10, EIO)), "");
  EXPECT_EQ(news.update("it", working(10, EIO)), "it: it works again, 7 datagrams were lost");
}

TEST(OutputNews, TellsOfLossesThatCameAndWentBetweenTwoLooks) {
  OutputNews news;
  EXPECT_EQ(news.update("it", working(1, ENOBUFS)), "it: No buffer space available; it is tried again");
}

TEST(OutputNews, TellsWhenTheReasonIsAnotherOne) {
  OutputNews news;
  EXPECT_NE(news.update("it", failing(1, ENETUNREACH)), "");
  EXPECT_EQ(news.update("it", failing(2, ENODEV)), "it: No such device; it is tried again");
  EXPECT_EQ(news.update("it", failing(3, ENODEV)), "");
  EXPECT_EQ(news.update("it", working(3, ENODEV)), "it: it works again, 3 datagrams were lost");
}

TEST(OutputNews, PromisesNothingOfWhatIsOver) {
  OutputNews news;
  OutputStatus status = failing(1, EPIPE);
  status.isOver = true;
  EXPECT_EQ(news.update("stdout", status), "stdout: its reader is gone");
}

}  // namespace
}  // namespace vantor::outputs
