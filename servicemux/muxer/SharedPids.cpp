#include "servicemux/muxer/SharedPids.h"

#include <algorithm>
#include <iterator>

#include "servicemux/muxer/StandardsPace.h"

namespace vantor {

namespace {

SharedPids::Streams onPid(const SharedPids::Streams& all, unsigned short pid) {
  SharedPids::Streams some;
  std::copy_if(all.begin(), all.end(), std::back_inserter(some),
               [pid](const muxed_stream* stream) { return stream->packetPid() == pid; });
  return some;
}

/// Takes over the counter of the streams that send, if there is one that has sent.
void readCounter(const SharedPids::Streams& streams, const muxed_stream* except, unsigned char& counter) {
  for (const muxed_stream* const stream : streams)
    if (stream != except && !stream->isSilent() && stream->GetLastCC() != muxed_stream::kNoCC)
      counter = stream->GetLastCC();
}

}  // namespace

void SharedPids::joined(muxed_stream& stream, const Streams& onPid) {
  Pid& pid = pids.at(stream.packetPid());
  readCounter(onPid, &stream, pid.counter);
  stream.continueFrom(pid.counter);
  settle(pid, onPid);
}

void SharedPids::left(muxed_stream& stream, const Streams& onPid) {
  Pid& pid = pids.at(stream.packetPid());
  readCounter({&stream}, nullptr, pid.counter);
  settle(pid, onPid);
}

/// A guest that may send again begins anew.
void SharedPids::settle(Pid& pid, const Streams& onPid) {
  const bool isTaken =
      std::any_of(onPid.begin(), onPid.end(), [](const muxed_stream* stream) { return !stream->isGuest(); });
  bool hasGuest = false;
  for (muxed_stream* const stream : onPid) {
    if (!stream->isGuest()) continue;
    hasGuest = true;
    if (stream->isSilent() && !isTaken) {
      stream->continueFrom(pid.counter);
      stream->beginClassic(muxed_stream::time_point::clock::now());
    }
    stream->setSilent(isTaken);
  }
  pid.isSilent = hasGuest && isTaken;
  if (!hasGuest) pid.isToldSilent = false;  // nobody is there who could be on air again
}

void SharedPids::begin(StandardsPace& pace, const Streams& all) {
  for (auto& [number, pid] : pids) {
    const Streams streams = onPid(all, number);
    readCounter(streams, nullptr, pid.counter);
    if (pid.counter != muxed_stream::kNoCC) pace.continueFrom(number, pid.counter);
    for (muxed_stream* const stream : streams) stream->setSilent(false);
    pid.isSilent = false;
  }
}

void SharedPids::end(const StandardsPace& pace, const Streams& all) {
  for (auto& [number, pid] : pids) {
    const Streams streams = onPid(all, number);
    if (const unsigned char counter = pace.counterOf(number); counter != muxed_stream::kNoCC) pid.counter = counter;
    for (muxed_stream* const stream : streams) stream->continueFrom(pid.counter);
    settle(pid, streams);
  }
}

SharedPids::Changes SharedPids::take(bool isClassic) {
  Changes changes;
  for (auto& [number, pid] : pids) {
    if (pid.isSilent == pid.isToldSilent || (pid.isSilent && !isClassic)) continue;
    pid.isToldSilent = pid.isSilent;
    changes.push_back({number, pid.isSilent});
  }
  return changes;
}

}  // namespace vantor
