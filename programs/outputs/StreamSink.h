#pragma once

#include <array>
#include <atomic>
#include <boost/lockfree/spsc_queue.hpp>
#include <chrono>
#include <cstddef>
#include <optional>
#include <thread>

#include "programs/outputs/Descriptor.h"
#include "programs/outputs/Destination.h"
#include "programs/outputs/Output.h"

namespace vantor::outputs {

/// Writes the packets back to back to a file or to stdout, in a thread of its own and of ordinary priority: files
/// and pipes may take their time. Up to kQueued datagrams wait for it; what comes beyond that is lost. A datagram
/// that has been begun is finished before the next one, so that packets stay whole.
class StreamSink final : public Output {
 public:
  static constexpr std::size_t kQueued = 1024;

  /// Opens the file, or takes stdout. A file that is there is overwritten only when it is an ordinary one. Throws
  /// OutputError.
  StreamSink(const Destination& destination, const std::string& where);
  ~StreamSink() override;

  bool send(const Datagram& datagram) override;
  void finish() override;

 private:
  using Clock = std::chrono::steady_clock;

  struct Slot {
    std::size_t size;
    std::array<std::byte, 1316> bytes;
  };

  void run();
  bool write(const Slot& slot);
  bool waitForRoom();
  bool pauseBehindError();
  void awaitNews(int timeout);
  void giveUp();
  [[nodiscard]] std::optional<int> timeLeft();

  const Descriptor target;
  const Descriptor news;  // an eventfd: something is queued, or it is to end
  boost::lockfree::spsc_queue<Slot, boost::lockfree::capacity<kQueued>> queue;
  std::atomic<bool> ending{false};
  std::optional<Clock::time_point> deadline;  // writer only: when to give up, once it is to end
  std::thread writer;
};

}  // namespace vantor::outputs
