#include "tests/servicemux/doubles/Sender.h"

#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "interface/psi/packet.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

struct Result {
  ssize_t sent;
  int error;
};

std::atomic<Sender*> sender{nullptr};

// Guarded by mutex.
std::mutex mutex;
std::condition_variable changed;
std::vector<Sender::Datagram> taken;
std::deque<Result> results;
bool holding = false;
int held = 0;
std::chrono::microseconds timeOfCall{0};

void appendPackets(const Sender::Datagram& datagram, std::vector<std::string>& packets) {
  for (std::size_t offset = 0; offset < datagram.bytes.size(); offset += vantor::kPacketSize)
    packets.push_back(datagram.bytes.substr(offset, vantor::kPacketSize));
}

}  // namespace

Sender::Sender() {
  taken.clear();
  results.clear();
  timeOfCall = std::chrono::microseconds(0);
  sender.store(this);
}

Sender::~Sender() {
  release();
  sender.store(nullptr);
}

void Sender::failNext(int error) {
  const std::lock_guard lock(mutex);
  results.push_back({-1, error});
}

void Sender::shortenNext(ssize_t sent) {
  const std::lock_guard lock(mutex);
  results.push_back({sent, 0});
}

void Sender::slowDown(std::chrono::microseconds time) {
  const std::lock_guard lock(mutex);
  timeOfCall = time;
}

void Sender::hold() {
  const std::lock_guard lock(mutex);
  holding = true;
}

void Sender::awaitHeld() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [] { return held > 0; });
}

void Sender::release() {
  const std::lock_guard lock(mutex);
  holding = false;
  changed.notify_all();
}

std::vector<Sender::Datagram> Sender::datagrams() const {
  const std::lock_guard lock(mutex);
  return taken;
}

std::vector<std::size_t> Sender::sizes() const {
  std::vector<std::size_t> sizes;
  for (const Datagram& datagram : datagrams()) sizes.push_back(datagram.bytes.size());
  return sizes;
}

std::vector<std::string> Sender::packets() const {
  std::vector<std::string> packets;
  for (const Datagram& datagram : datagrams()) appendPackets(datagram, packets);
  return packets;
}

bool Sender::await(const std::function<bool(const std::string& packet)>& wanted) {
  std::unique_lock lock(mutex);
  std::size_t seen = 0;
  return changed.wait_for(lock, std::chrono::minutes(1), [&] {
    std::vector<std::string> packets;
    for (; seen < taken.size(); ++seen) appendPackets(taken[seen], packets);
    return std::any_of(packets.begin(), packets.end(), wanted);
  });
}

void Sender::clear() {
  const std::lock_guard lock(mutex);
  taken.clear();
}

ssize_t Sender::send(Datagram datagram) {
  std::unique_lock lock(mutex);
  Result result{static_cast<ssize_t>(datagram.bytes.size()), 0};
  if (!results.empty()) {
    result = results.front();
    results.pop_front();
  }
  taken.push_back(std::move(datagram));
  ++held;
  changed.notify_all();
  changed.wait(lock, [] { return !holding; });
  --held;
  const auto time = timeOfCall;
  lock.unlock();
  if (time.count() != 0) std::this_thread::sleep_for(time);
  errno = result.error;
  return result.sent;
}

extern "C" ssize_t sendto(int socket, const void* data, std::size_t size, int flags, const sockaddr* destination,
                          socklen_t length) {
  static const auto real =
      nextFunction<ssize_t(int, const void*, std::size_t, int, const sockaddr*, socklen_t)>("sendto");
  Sender* const current = sender.load();
  if (current == nullptr) return real(socket, data, size, flags, destination, length);
  Sender::Datagram datagram{socket, flags, std::string(static_cast<const char*>(data), size), {}, length};
  std::memcpy(&datagram.destination, destination, sizeof datagram.destination);
  return current->send(std::move(datagram));
}
