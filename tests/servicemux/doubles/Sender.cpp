#include "tests/servicemux/doubles/Sender.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include "interface/psi/packet.h"

namespace {

void appendPackets(const std::string& datagram, std::vector<std::string>& packets) {
  for (std::size_t offset = 0; offset < datagram.size(); offset += vantor::kPacketSize)
    packets.push_back(datagram.substr(offset, vantor::kPacketSize));
}

}  // namespace

std::shared_ptr<vantor::DatagramSink> Sender::shared() {
  return {this, [](vantor::DatagramSink*) {}};
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
  changed.wait(lock, [this] { return held > 0; });
}

void Sender::release() {
  const std::lock_guard lock(mutex);
  holding = false;
  changed.notify_all();
}

std::vector<std::string> Sender::datagrams() const {
  const std::lock_guard lock(mutex);
  return taken;
}

std::vector<std::size_t> Sender::sizes() const {
  std::vector<std::size_t> sizes;
  for (const std::string& datagram : datagrams()) sizes.push_back(datagram.size());
  return sizes;
}

std::vector<std::string> Sender::packets() const {
  std::vector<std::string> packets;
  for (const std::string& datagram : datagrams()) appendPackets(datagram, packets);
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

ssize_t Sender::send(const void* datagram, std::size_t size) {
  std::unique_lock lock(mutex);
  Result result{static_cast<ssize_t>(size), 0};
  if (!results.empty()) {
    result = results.front();
    results.pop_front();
  }
  taken.emplace_back(static_cast<const char*>(datagram), size);
  ++held;
  changed.notify_all();
  changed.wait(lock, [this] { return !holding; });
  --held;
  const auto time = timeOfCall;
  lock.unlock();
  if (time.count() != 0) std::this_thread::sleep_for(time);
  errno = result.error;
  return result.sent;
}
