#pragma once

#include <algorithm>

#include "servicemux/streams/SttSource.h"
#include "tests/servicemux/packets.h"

/// Makes packets of one PID and continuity_counter that hold how many it has made.
class CountingSource final : public vantor::SttSource {
 public:
  CountingSource(unsigned short pid, unsigned char counter) : pid(pid), counter(counter) {}

  void fillSTTData(unsigned char* packet) override {
    const std::string made = makePacket(pid, counter, ++count);
    std::copy(made.begin(), made.end(), packet);
  }
  boost::chrono::nanoseconds elapsed() const override { return {}; }

 private:
  const unsigned short pid;
  const unsigned char counter;
  unsigned char count = 0;
};
