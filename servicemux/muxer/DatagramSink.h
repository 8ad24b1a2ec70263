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

  struct Datagram {
    const void* bytes;
    std::size_t size;
  };

  // Called from one thread at a time, the consumer with the classic timing, the producer with that of the
  // standards. These threads have real-time priority: a sink that blocks holds up the whole output.

  /// Takes one datagram of whole packets, 188 to 1316 bytes. Returns the bytes taken, or -1 with the reason in
  /// errno; what is not taken whole is lost, counted as a send error and logged. A sink that tells of its failures
  /// itself leaves 0 in errno: then nothing is logged.
  [[nodiscard]] virtual ssize_t send(const void* datagram, std::size_t size) = 0;

  /// Takes several datagrams at once, where a sink can do that for less than one by one, and returns how many of
  /// the first ones it took whole. The others go through send().
  [[nodiscard]] virtual std::size_t sendAll([[maybe_unused]] const Datagram* first,
                                            [[maybe_unused]] const Datagram* last) {
    return 0;
  }
};

}  // namespace vantor
