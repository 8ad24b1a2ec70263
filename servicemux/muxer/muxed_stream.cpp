#include "servicemux/muxer/muxed_stream.h"

#include "interface/psi/packet.h"
#include "servicemux/muxer/VBRmuxer.h"

namespace vantor {

muxed_stream::muxed_stream(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, bool flag,
                           unsigned char initialCC, Tenancy tenancy)
    : pid(pid), tenancy(tenancy), lastCC(initialCC), flag(flag), muxer(muxer) {}

muxed_stream::~muxed_stream() { unlinkFromMuxer(); }

unsigned char muxed_stream::GetLastCC() const { return lastCC.load(std::memory_order_relaxed); }

void muxed_stream::linkToMuxer() {
  if (const auto owner = muxer.lock()) owner->link(*this);
}

void muxed_stream::unlinkFromMuxer() {
  if (const auto owner = muxer.lock()) owner->unlink(*this);
}

void muxed_stream::announce(PacedTable& table) {
  if (const auto owner = muxer.lock()) owner->announce(*this, table);
}

void muxed_stream::announcePeriod(PacedTable& table) {
  if (const auto owner = muxer.lock()) owner->announcePeriod(table);
}

void muxed_stream::withdraw(PacedTable& table) {
  if (const auto owner = muxer.lock()) owner->withdraw(table);
}

void muxed_stream::restamp_cc(signed char* packet) {
  auto& header = reinterpret_cast<unsigned char*>(packet)[kContinuityOffset];
  const unsigned char last = lastCC.load(std::memory_order_relaxed);
  if (last == kNoCC) {
    lastCC.store(header & kContinuityMask, std::memory_order_relaxed);
  } else if ((header & kPayloadFlag) != 0) {
    const unsigned char next = (last + 1) & kContinuityMask;
    lastCC.store(next, std::memory_order_relaxed);
    header = static_cast<unsigned char>((header & ~kContinuityMask) | next);
  }
}

}  // namespace vantor
