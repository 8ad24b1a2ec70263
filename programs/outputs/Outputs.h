#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "programs/outputs/Destination.h"
#include "programs/outputs/Output.h"
#include "programs/outputs/UdpSocket.h"
#include "servicemux/muxer/DatagramSink.h"

namespace vantor::outputs {

/// Hands each datagram to every one of several destinations, and has a thread of ordinary priority that once a
/// second tries to mend those that fail. A datagram counts as sent when at least one destination has taken it; one
/// that none has taken is refused with errno 0, since what fails is told by status(), once.
class Outputs final : public DatagramSink {
 public:
  /// Opens all of them. Throws OutputError with the name of the first one that cannot be opened.
  Outputs(const std::vector<Destination>& destinations, const SocketOptions& options);
  ~Outputs() override;

  [[nodiscard]] ssize_t send(const void* datagram, std::size_t size) override;
  [[nodiscard]] std::size_t sendAll(const Datagram* first, const Datagram* last) override;

  /// The destinations, in the order in which they were given. Each tells its status to any thread.
  [[nodiscard]] const std::vector<std::unique_ptr<Output>>& all() const { return outputs; }

  /// Ends what is done beside the packet path: waits until what was taken is written, and mends no more.
  void finish();

 private:
  void keepMending();

  std::vector<std::unique_ptr<Output>> outputs;  // constant after construction
  std::vector<std::size_t> taken;                // packet path only, one for each of them

  std::mutex mutex;
  std::condition_variable wake;
  bool ending = false;  // guarded by mutex
  std::thread keeper;
};

}  // namespace vantor::outputs
