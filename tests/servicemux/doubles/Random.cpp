#include "tests/servicemux/doubles/Random.h"

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<long> fixedValue{0};

}  // namespace

FixedRandom::FixedRandom(long value) { fixedValue.store(value); }
FixedRandom::~FixedRandom() { fixedValue.store(0); }

extern "C" long random() noexcept { return fixedValue.load(); }
