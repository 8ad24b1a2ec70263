#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

#include "servicemux/muxer/DatagramSink.h"

namespace vantor::outputs {

/// What an output has done since it was opened; every count only grows.
struct OutputStatus {
  std::uint64_t datagrams = 0;  ///< sent, or written
  std::uint64_t bytes = 0;      ///< of the packets in them
  std::uint64_t lost = 0;       ///< datagrams that could not be sent or written
  std::uint64_t refused = 0;    ///< datagrams that the destination's machine has sent back: nobody listens there
  int error = 0;                ///< the errno of what fails at this moment, 0 while all goes well
  int lastError = 0;            ///< the errno of what has failed last
  bool isOver = false;          ///< nothing can be sent any more, ever
};

/// True when an output was of no use: something was to be sent, and nothing could be.
[[nodiscard]] bool isUnused(const OutputStatus& status);

/// What an errno means for an output, in words: "Network is unreachable", "it takes the packets too slowly".
[[nodiscard]] std::string reasonOf(int error);

/// One destination of the packets, open and counted. send() and sendAll() belong to the packet path, one thread at
/// a time: neither waits, allocates or logs. All others may come from any other thread; mend() and finish() from
/// one at a time.
class Output {
 public:
  using Datagram = DatagramSink::Datagram;

  /// `name` is that of the destination; `where` is the name in messages, with the interface if one was asked for.
  Output(std::string name, std::string where) : ownName(std::move(name)), ownWhere(std::move(where)) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  virtual ~Output() = default;

  [[nodiscard]] const std::string& name() const { return ownName; }
  [[nodiscard]] const std::string& where() const { return ownWhere; }
  [[nodiscard]] OutputStatus status() const;

  /// Takes one datagram; false when it is lost. Counts it either way.
  virtual bool send(const Datagram& datagram) = 0;

  /// Takes several datagrams at once, where that costs less than one by one; returns how many of the first ones
  /// were taken and counted. Nothing is lost: the others are still to be sent.
  [[nodiscard]] virtual std::size_t sendAll([[maybe_unused]] const Datagram* first,
                                            [[maybe_unused]] const Datagram* last) {
    return 0;
  }

  /// Tries to make work again what does not. May wait. Called about once a second.
  virtual void mend() {}

  /// Waits until what was taken has been written, a second at most where nobody takes it, and then takes no more.
  virtual void finish() {}

 protected:
  void countSent(std::size_t size);
  void countLost(int reason, std::uint64_t count = 1);
  void countRefused() { refused.fetch_add(1, std::memory_order_relaxed); }
  /// `reason` is an errno, 0 when all goes well again.
  void setError(int reason);
  [[nodiscard]] int currentError() const { return error.load(std::memory_order_relaxed); }
  void setOver() { over.store(true, std::memory_order_relaxed); }
  [[nodiscard]] bool isOver() const { return over.load(std::memory_order_relaxed); }

 private:
  const std::string ownName;
  const std::string ownWhere;

  // Each by itself; what is read of them together may be a datagram apart.
  std::atomic<std::uint64_t> datagrams{0};
  std::atomic<std::uint64_t> bytes{0};
  std::atomic<std::uint64_t> lost{0};
  std::atomic<std::uint64_t> refused{0};
  std::atomic<int> error{0};
  std::atomic<int> lastError{0};
  std::atomic<bool> over{false};
};

}  // namespace vantor::outputs
