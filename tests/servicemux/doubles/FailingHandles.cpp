#include "tests/servicemux/doubles/FailingHandles.h"

#include <limits>

#include "interface/dvbpsi.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

constexpr int kUnlimited = std::numeric_limits<int>::max();

int handlesLeft = kUnlimited;
bool failed = false;

}  // namespace

FailingHandles::FailingHandles(int left) {
  handlesLeft = left;
  failed = false;
}

FailingHandles::~FailingHandles() { handlesLeft = kUnlimited; }

bool FailingHandles::haveFailed() { return failed; }

dvbpsi_t* dvbpsi_new(dvbpsi_message_cb callback, dvbpsi_msg_level level) {
  static const auto real = nextFunction<dvbpsi_t*(dvbpsi_message_cb, dvbpsi_msg_level)>("dvbpsi_new");
  if (handlesLeft == kUnlimited) return real(callback, level);
  if (handlesLeft > 0) {
    --handlesLeft;
    return real(callback, level);
  }
  failed = true;
  return nullptr;
}
