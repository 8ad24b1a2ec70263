#pragma once

#include <functional>
#include <string>
#include <vector>

/// Writes down what the program does with its next UDP socket, while it lives. The interface "has" the address
/// 10.9.8.7: the calls that need a real one succeed without being made. One object at a time.
class SocketCalls {
 public:
  /// Each of these calls fails: "socket", "ioctl", "IP_MULTICAST_IF", "IP_MULTICAST_TTL", "IP_TTL", "bind".
  explicit SocketCalls(std::vector<std::string> failing = {});
  SocketCalls(const SocketCalls&) = delete;
  SocketCalls& operator=(const SocketCalls&) = delete;
  ~SocketCalls();

  /// Runs `observer` before the socket is closed.
  void beforeClose(std::function<void()> observer);

  /// The calls in order, each as its name and arguments; a descriptor other than the socket's is named at the end.
  [[nodiscard]] std::vector<std::string> made() const;

  /// The number that the socket got.
  [[nodiscard]] int socket() const;
};
