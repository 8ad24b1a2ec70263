#include "programs/outputs/OutputNews.h"

namespace vantor::outputs {

std::string OutputNews::update(const std::string& where, const OutputStatus& now) {
  const std::uint64_t before = lostBefore;
  lostBefore = now.lost;
  // What fails now and then, between two looks, is failing all the same.
  const bool isFailing = now.error != 0 || now.lost != before;
  if (isFailing && now.lastError != toldError) {
    if (toldError == 0) lostAtStart = before;
    toldError = now.lastError;
    return where + ": " + reasonOf(now.lastError) + (now.isOver ? "" : "; it is tried again");
  }
  if (isFailing || toldError == 0) return "";
  toldError = 0;
  return where + ": it works again, " + std::to_string(now.lost - lostAtStart) + " datagrams were lost";
}

}  // namespace vantor::outputs
