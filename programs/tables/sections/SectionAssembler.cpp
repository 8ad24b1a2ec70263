#include "programs/tables/sections/SectionAssembler.h"

#include <algorithm>

#include "interface/psi/packet.h"

namespace vantor::tables {

namespace {

std::uint8_t counterOf(std::string_view packet) { return byteAt(packet, kContinuityOffset) & kContinuityMask; }

}  // namespace

void SectionAssembler::push(std::string_view packet, std::int64_t time) {
  const std::uint8_t control = byteAt(packet, kContinuityOffset);
  if ((byteAt(packet, 1) & kTransportError) != 0) return drop(SectionFault::interrupted);
  if ((control & kScramblingControl) != 0) return drop(SectionFault::interrupted);
  std::string_view payload = packet.substr(kPacketHeaderSize);
  bool discontinuityIndicated = false;
  if ((control & kAdaptationFieldFlag) != 0) {
    const std::size_t length = byteAt(payload, 0);
    if (length >= payload.size()) return drop(SectionFault::interrupted);
    discontinuityIndicated = length > 0 && (byteAt(payload, 1) & kDiscontinuity) != 0;
    payload.remove_prefix(1 + length);
  }
  if ((control & kPayloadFlag) == 0 || payload.empty() || packet == lastPacket) return;
  if (!continues(packet, discontinuityIndicated)) drop(SectionFault::interrupted);
  lastPacket = packet;
  now = time;
  if ((byteAt(packet, 1) & kPayloadUnitStart) != 0)
    begin(payload);
  else
    append(payload, false);
}

/// A packet sent twice is no break; it was sorted out before.
bool SectionAssembler::continues(std::string_view packet, bool discontinuityIndicated) {
  if (lastPacket.empty()) return true;
  return !discontinuityIndicated && counterOf(packet) == ((counterOf(lastPacket) + 1) & kContinuityMask);
}

/// A payload in which a section begins, behind the end of the one before.
void SectionAssembler::begin(std::string_view payload) {
  const std::size_t pointer = byteAt(payload, 0);
  payload.remove_prefix(1);
  if (pointer >= payload.size()) return lose(SectionFault::content);
  append(payload.substr(0, pointer), false);
  drop(SectionFault::interrupted);
  collecting = true;
  append(payload.substr(pointer), true);
  collecting = !section.empty();
}

void SectionAssembler::append(std::string_view data, bool moreMayFollow) {
  while (collecting && !data.empty()) {
    if (section.empty() && byteAt(data, 0) == kStuffing) {
      collecting = false;
      return;
    }
    if (section.empty()) begunAt = now;
    const bool headerIsThere = section.size() >= kSectionHeaderSize;
    const std::size_t wanted = kSectionHeaderSize + (headerIsThere ? sectionLength(section) : 0);
    const std::size_t count = std::min(wanted - section.size(), data.size());
    section.append(data.substr(0, count));
    data.remove_prefix(count);
    if (section.size() < kSectionHeaderSize) continue;
    if (sectionLength(section) > kMaxSectionLength) return lose(SectionFault::length);
    if (section.size() < kSectionHeaderSize + sectionLength(section)) continue;
    finishSection();
    collecting = moreMayFollow;
  }
}

void SectionAssembler::finishSection() {
  const SectionFault fault = Section::check(section);
  if (fault == SectionFault::none)
    onSection(Section(std::move(section)));
  else
    onFault(fault);
  section.clear();
}

/// Gives up the section under way, if there is one, and waits for the next to begin.
void SectionAssembler::drop(SectionFault why) {
  if (!section.empty()) lose(why);
  collecting = false;
}

void SectionAssembler::lose(SectionFault why) {
  onFault(why);
  section.clear();
  collecting = false;
}

}  // namespace vantor::tables
