#pragma once

#include <sys/types.h>

#include <cstddef>

namespace vantor {

/// Where an output's datagrams go: a socket, a file, a test.
class DatagramSink {
 public:
  DatagramSink() = default;
  DatagramSink(const DatagramSink&) = delete;
  DatagramSink& operator=(const DatagramSink&) = delete;
  virtual ~DatagramSink() = default;

  /// Takes one datagram of whole packets, 188 to 1316 bytes. Returns the bytes taken, or -1 with the reason in
  /// errno; what is not taken whole is lost and counted as a send error. Called from the consumer thread only, one
  /// call at a time. That thread has real-time priority: a sink that blocks holds up the whole output.
  [[nodiscard]] virtual ssize_t send(const void* datagram, std::size_t size) = 0;
};

}  // namespace vantor
