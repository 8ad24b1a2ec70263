#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Takes the place of sendto while it lives: it keeps the datagrams instead of sending them. One at a time; any
/// thread may call it.
class Sender {
 public:
  struct Datagram {
    int socket;
    int flags;
    std::string bytes;
    sockaddr_in destination;
    unsigned int addressLength;
  };

  Sender();
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;
  /// Lets go a call that is held.
  ~Sender();

  /// A coming call returns -1 with this error, or this many bytes; several are used up one a call.
  void failNext(int error);
  void shortenNext(ssize_t sent);

  /// Makes every call take at least this long.
  void slowDown(std::chrono::microseconds time);

  /// Holds every call until release(); awaitHeld waits until one is.
  void hold();
  void awaitHeld();
  void release();

  /// All datagrams so far, also those whose call failed.
  [[nodiscard]] std::vector<Datagram> datagrams() const;
  /// Their lengths.
  [[nodiscard]] std::vector<std::size_t> sizes() const;
  /// Their packets, in order.
  [[nodiscard]] std::vector<std::string> packets() const;

  /// Waits until a packet with this property has come. False when that takes a minute.
  [[nodiscard]] bool await(const std::function<bool(const std::string& packet)>& wanted);
  /// Forgets all datagrams.
  void clear();

  ssize_t send(Datagram datagram);
};
