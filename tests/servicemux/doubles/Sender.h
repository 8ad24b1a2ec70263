#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "servicemux/muxer/DatagramSink.h"

/// An output that keeps the datagrams. Any thread may call it.
class Sender final : public vantor::DatagramSink {
 public:
  /// For an output that wants to share its sink; this object must outlive it all the same.
  [[nodiscard]] std::shared_ptr<vantor::DatagramSink> shared();

  /// A coming send returns -1 with this error, or this many bytes; several are used up one a call.
  void failNext(int error);
  void shortenNext(ssize_t sent);

  /// Makes every send take at least this long.
  void slowDown(std::chrono::microseconds time);

  /// Holds every send until release(); awaitHeld waits until one is.
  void hold();
  void awaitHeld();
  void release();

  /// All datagrams so far, also those whose sending failed.
  [[nodiscard]] std::vector<std::string> datagrams() const;
  /// Their lengths.
  [[nodiscard]] std::vector<std::size_t> sizes() const;
  /// Their packets, in order.
  [[nodiscard]] std::vector<std::string> packets() const;

  /// Waits until a packet with this property has come. False when that takes a minute.
  [[nodiscard]] bool await(const std::function<bool(const std::string& packet)>& wanted);
  /// Forgets all datagrams.
  void clear();

  [[nodiscard]] ssize_t send(const void* datagram, std::size_t size) override;

 private:
  struct Result {
    ssize_t sent;
    int error;
  };

  mutable std::mutex mutex;
  // Guarded by mutex.
  std::condition_variable changed;
  std::vector<std::string> taken;
  std::deque<Result> results;
  bool holding = false;
  int held = 0;
  std::chrono::microseconds timeOfCall{0};
};
