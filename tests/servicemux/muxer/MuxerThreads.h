#pragma once

#include <thread>

#include "servicemux/muxer/VBRmuxer.h"

/// The two threads of a muxer, from the making of this object to its end.
class MuxerThreads {
 public:
  explicit MuxerThreads(vantor::VBRmuxer& muxer)
      : muxer(muxer), producer([&muxer] { muxer.muxerRun(); }), consumer([&muxer] { muxer.consumerRun(); }) {}
  MuxerThreads(const MuxerThreads&) = delete;
  MuxerThreads& operator=(const MuxerThreads&) = delete;
  ~MuxerThreads() {
    muxer.muxerStop();
    producer.join();
    consumer.join();
  }

 private:
  vantor::VBRmuxer& muxer;
  std::thread producer;
  std::thread consumer;
};
