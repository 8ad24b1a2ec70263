#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

/// Takes the place of sendto while it lives, and of nothing else: keeps the arguments of each call and sends
/// nothing. One at a time.
class SendCalls {
 public:
  struct Call {
    int socket;
    int flags;
    std::string bytes;
    sockaddr_in destination;
    unsigned int addressLength;
  };

  SendCalls();
  SendCalls(const SendCalls&) = delete;
  SendCalls& operator=(const SendCalls&) = delete;
  ~SendCalls();

  [[nodiscard]] std::vector<Call> made() const;
};
