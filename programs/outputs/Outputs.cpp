#include "programs/outputs/Outputs.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "programs/outputs/OutputError.h"
#include "programs/outputs/StreamSink.h"
#include "programs/outputs/UdpSink.h"

namespace vantor::outputs {

namespace {

constexpr auto kMendPeriod = std::chrono::seconds(1);

bool isSocket(const Destination& destination) {
  return destination.form == Destination::Form::Udp || destination.form == Destination::Form::Rtp;
}

std::unique_ptr<Output> makeOutput(const Destination& destination, const SocketOptions& options) {
  const bool isTied = isSocket(destination) && !options.interface.empty();
  const std::string where = nameOf(destination) + (isTied ? " through " + options.interface : "");
  try {
    if (isSocket(destination)) return std::make_unique<UdpSink>(destination, options, where);
    return std::make_unique<StreamSink>(destination, where);
  } catch (const OutputError& error) {
    throw OutputError(where + ": " + error.what());
  }
}

}  // namespace

Outputs::Outputs(const std::vector<Destination>& destinations, const SocketOptions& options) {
  for (const Destination& destination : destinations) outputs.push_back(makeOutput(destination, options));
  taken.resize(outputs.size());
  keeper = std::thread(&Outputs::keepMending, this);
}

Outputs::~Outputs() { finish(); }

ssize_t Outputs::send(const void* datagram, std::size_t size) {
  bool isTaken = false;
  for (const auto& output : outputs)
    if (output->send({datagram, size})) isTaken = true;
  if (isTaken) return static_cast<ssize_t>(size);
  errno = 0;
  return -1;
}

/// Every destination gets every datagram once: up to where the furthest has come the others follow here, one by
/// one; what is behind that comes again.
std::size_t Outputs::sendAll(const Datagram* first, const Datagram* last) {
  std::size_t furthest = 0;
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    taken[i] = outputs[i]->sendAll(first, last);
    furthest = std::max(furthest, taken[i]);
  }
  for (std::size_t i = 0; i < outputs.size(); ++i)
    for (std::size_t next = taken[i]; next < furthest; ++next) outputs[i]->send(first[next]);
  return furthest;
}

void Outputs::finish() {
  if (!keeper.joinable()) return;
  {
    const std::lock_guard lock(mutex);
    ending = true;
  }
  wake.notify_one();
  keeper.join();
  for (const auto& output : outputs) output->finish();
}

void Outputs::keepMending() {
  std::unique_lock lock(mutex);
  while (!wake.wait_for(lock, kMendPeriod, [this] { return ending; })) {
    lock.unlock();
    for (const auto& output : outputs) output->mend();
    lock.lock();
  }
}

}  // namespace vantor::outputs
