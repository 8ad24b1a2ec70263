#include "tests/servicemux/doubles/SocketCalls.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

constexpr int kNone = -1;
constexpr const char* kInterfaceAddress = "10.9.8.7";

std::atomic<bool> recording{false};

// Guarded by mutex.
std::mutex mutex;
std::vector<std::string> calls;
std::vector<std::string> failures;
int opened = kNone;
std::function<void()> closeObserver;

void record(int descriptor, const std::string& call) {
  const std::lock_guard lock(mutex);
  const bool ours = descriptor != kNone && descriptor == opened;
  calls.push_back(ours ? call : call + " on " + std::to_string(descriptor));
}

void observeClose() {
  const std::lock_guard lock(mutex);
  if (closeObserver) closeObserver();
}

/// True, with errno set, when the call is to fail.
bool fails(const std::string& call, int error) {
  const std::lock_guard lock(mutex);
  if (std::find(failures.begin(), failures.end(), call) == failures.end()) return false;
  errno = error;
  return true;
}

bool isOurs(int descriptor) {
  const std::lock_guard lock(mutex);
  return descriptor == opened || descriptor == kNone;
}

std::string optionName(int option) {
  switch (option) {
    case IP_MULTICAST_IF:
      return "IP_MULTICAST_IF";
    case IP_MULTICAST_LOOP:
      return "IP_MULTICAST_LOOP";
    case IP_MULTICAST_TTL:
      return "IP_MULTICAST_TTL";
    case IP_TTL:
      return "IP_TTL";
    default:
      return "option " + std::to_string(option);
  }
}

std::string hex(const void* data, std::size_t size) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned char byte = static_cast<const unsigned char*>(data)[i];
    text += {kDigits[byte >> 4], kDigits[byte & 0x0F]};
  }
  return text;
}

std::string addressText(const sockaddr* address, socklen_t length) {
  sockaddr_in in{};
  if (length != sizeof in) return "length " + std::to_string(length);
  std::memcpy(&in, address, sizeof in);
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &in.sin_addr, text, sizeof text);
  return std::string(text) + ":" + std::to_string(ntohs(in.sin_port));
}

}  // namespace

SocketCalls::SocketCalls(std::vector<std::string> failing) {
  calls.clear();
  failures = std::move(failing);
  opened = kNone;
  closeObserver = nullptr;
  recording.store(true);
}

SocketCalls::~SocketCalls() { recording.store(false); }

void SocketCalls::beforeClose(std::function<void()> observer) {
  const std::lock_guard lock(mutex);
  closeObserver = std::move(observer);
}

std::vector<std::string> SocketCalls::made() const {
  const std::lock_guard lock(mutex);
  return calls;
}

int SocketCalls::socket() const {
  const std::lock_guard lock(mutex);
  return opened;
}

extern "C" int socket(int domain, int type, int protocol) noexcept {
  static const auto real = nextFunction<int(int, int, int)>("socket");
  if (!recording || domain != AF_INET) return real(domain, type, protocol);
  const int descriptor = fails("socket", EMFILE) ? kNone : real(domain, type, protocol);
  const std::lock_guard lock(mutex);
  opened = descriptor;
  calls.push_back(std::string("socket") + (type == SOCK_DGRAM ? " SOCK_DGRAM " : " ? ") + std::to_string(protocol));
  return descriptor;
}

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  static const auto real = nextFunction<int(int, unsigned long, void*)>("ioctl");
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (!recording || request != SIOCGIFADDR) return real(descriptor, request, argument);
  auto* const interface = static_cast<ifreq*>(argument);
  record(descriptor, std::string("ioctl SIOCGIFADDR ") + interface->ifr_name);
  if (fails("ioctl", ENODEV)) return -1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(kInterfaceAddress);
  std::memcpy(&interface->ifr_addr, &address, sizeof address);
  return 0;
}

extern "C" int setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) noexcept {
  static const auto real = nextFunction<int(int, int, int, const void*, socklen_t)>("setsockopt");
  if (!recording || level != IPPROTO_IP) return real(descriptor, level, option, value, size);
  record(descriptor, "setsockopt " + optionName(option) + " " + hex(value, size));
  if (fails(optionName(option), EPERM)) return -1;
  return option == IP_MULTICAST_IF && descriptor != kNone ? 0 : real(descriptor, level, option, value, size);
}

extern "C" int bind(int descriptor, const sockaddr* address, socklen_t length) noexcept {
  static const auto real = nextFunction<int(int, const sockaddr*, socklen_t)>("bind");
  if (!recording || !isOurs(descriptor)) return real(descriptor, address, length);
  record(descriptor, "bind " + addressText(address, length));
  if (fails("bind", EADDRNOTAVAIL)) return -1;
  return descriptor != kNone ? 0 : real(descriptor, address, length);
}

extern "C" int shutdown(int descriptor, int how) noexcept {
  static const auto real = nextFunction<int(int, int)>("shutdown");
  if (recording && isOurs(descriptor)) record(descriptor, how == SHUT_RD ? "shutdown SHUT_RD" : "shutdown ?");
  return real(descriptor, how);
}

extern "C" int close(int descriptor) {
  static const auto real = nextFunction<int(int)>("close");
  if (recording && isOurs(descriptor)) {
    observeClose();
    record(descriptor, "close");
  }
  return real(descriptor);
}
