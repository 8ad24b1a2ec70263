#include "programs/monitor/PacketClock.h"

#include <algorithm>
#include <utility>

#include "programs/monitor/packetFields.h"

namespace vantor::monitor {

namespace {

constexpr double kNanosecondsPerTick = 1e9 / kPcrFrequency;
/// PCRs are no more than 100 ms apart, ISO/IEC 13818-1 clause 2.7.2. Much more is no pause but another time.
constexpr std::int64_t kLongestPause = kPcrFrequency;

/// ns that a packet takes; 0 for no bitrate.
double stepAt(double kbps) { return kbps > 0 ? kPacketSize * 8 * 1e6 / kbps : 0; }

}  // namespace

PacketClock::PacketClock(Sink sink, double kbps) : sink(std::move(sink)), givenStep(stepAt(kbps)) {}

void PacketClock::take(std::string_view packet, std::optional<std::int64_t> arrival) {
  if (!arrival) return takeUntimed(packet);
  timeSource = TimeSource::kArrivals;
  sink(packet, arrival);
}

void PacketClock::takeUntimed(std::string_view packet) {
  if (goesByPcr && kept() >= kMostKept) giveUp();
  packets += packet;
  if (!goesByPcr) return release(kept());
  const auto pcr = pcrOf(packet);
  if (!pcr || hasTransportError(packet) || pid.value_or(pidOf(packet)) != pidOf(packet)) return;
  const bool isFirst = !pid;
  pid = pidOf(packet);
  takePcr(*pcr, isFirst || isDiscontinuityIndicated(packet));
}

/// The last packet kept back has this PCR. With a new time nothing is known of how long it is since the one before.
void PacketClock::takePcr(std::int64_t pcr, bool isNewTime) {
  const std::size_t at = kept() - 1;
  const std::int64_t passed = (pcr - lastPcr + kPcrRange) % kPcrRange;
  lastPcr = pcr;
  const std::size_t before = std::exchange(lastPcrAt, at);
  if (!isNewTime && passed > 0 && passed <= kLongestPause) {
    // The first step is also that of the packets that came before the first PCR.
    step = static_cast<double>(passed) * kNanosecondsPerTick / static_cast<double>(at - before);
    timeSource = TimeSource::kPcr;
  }
  if (step) release(at);
}

/// No PCR has come for long.
void PacketClock::giveUp() {
  if (step) {
    // The time goes on as before until another PID has some.
    release(kept());
    pid.reset();
    return;
  }
  goesByPcr = false;
  if (givenStep > 0) step = givenStep;
  timeSource = step ? TimeSource::kBitrate : TimeSource::kNone;
  release(kept());
}

void PacketClock::finish() {
  if (goesByPcr && !step && kept() > 0) giveUp();
  release(kept());
}

void PacketClock::release(std::size_t end) {
  for (std::size_t i = 0; i < end; ++i)
    sink(std::string_view(packets).substr(i * kPacketSize, kPacketSize), timeOf(i));
  start += static_cast<double>(end) * step.value_or(0);
  packets.erase(0, end * kPacketSize);
  lastPcrAt -= std::min(lastPcrAt, end);
}

std::optional<std::int64_t> PacketClock::timeOf(std::size_t i) const {
  if (!step) return std::nullopt;
  return static_cast<std::int64_t>(start + static_cast<double>(i) * *step);
}

std::size_t PacketClock::kept() const { return packets.size() / kPacketSize; }

}  // namespace vantor::monitor
