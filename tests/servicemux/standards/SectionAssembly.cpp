#include "tests/servicemux/standards/SectionAssembly.h"

#include <algorithm>
#include <array>

#include "interface/psi/packet.h"
#include "interface/psi/section.h"
#include "interface/psi/tableTypes.h"

namespace {

using vantor::kPacketHeaderSize;
using vantor::kPacketSize;

constexpr std::size_t kPayloadSize = kPacketSize - kPacketHeaderSize;
constexpr std::size_t kHeadSize = vantor::kLongSectionHeaderSize + 4;  // with both identifiers of an EIT
constexpr std::uint8_t kStuffingSection = 0xFF;

std::uint16_t number16(const unsigned char* bytes) { return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]); }

std::size_t sectionSize(const unsigned char* section) {
  return vantor::kSectionHeaderSize + (number16(section + 1) & vantor::kSectionLengthMask);
}

std::array<std::uint32_t, 256> makeCrcTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t rest = byte << 24;
    for (int bit = 0; bit < 8; ++bit) rest = rest << 1 ^ ((rest & 0x80000000U) != 0 ? 0x04C11DB7U : 0);
    table[byte] = rest;
  }
  return table;
}

bool isSdt(std::uint8_t table_id) {
  return table_id == vantor::kSdtActualTableId || table_id == vantor::kSdtOtherTableId;
}

bool isEit(std::uint8_t table_id) {
  return table_id >= vantor::kEitPfActualTableId && table_id <= vantor::kEitScheduleOtherLast;
}

/// A TOT has no long header, but a CRC_32.
bool hasCrc(const std::string& section) {
  return (static_cast<unsigned char>(section[1]) & vantor::kSectionSyntax) != 0 ||
         static_cast<unsigned char>(section[0]) == vantor::kTotTableId;
}

/// Of a section whose first packet holds so many bytes of it: that is all, but for a message of conditional access
/// behind another one.
SectionHead headOf(const unsigned char* section, std::size_t size) {
  SectionHead head;
  head.table_id = section[0];
  if (size < kHeadSize || (section[1] & vantor::kSectionSyntax) == 0) return head;
  if (head.table_id != vantor::kCatTableId) head.extension = number16(section + vantor::kExtensionOffset);
  head.version = section[vantor::kVersionOffset] >> 1 & vantor::kMaxVersion;
  head.number = section[vantor::kSectionNumberOffset];
  const unsigned char* const body = section + vantor::kLongSectionHeaderSize;
  if (isSdt(head.table_id)) {
    head.transport_stream_id = head.extension;
    head.original_network_id = number16(body);
  } else if (isEit(head.table_id)) {
    head.transport_stream_id = number16(body);
    head.original_network_id = number16(body + 2);
  }
  return head;
}

}  // namespace

std::uint32_t crc32(const std::string& bytes) {
  static const auto table = makeCrcTable();
  std::uint32_t rest = 0xFFFFFFFF;
  for (const char byte : bytes) rest = rest << 8 ^ table[rest >> 24 ^ static_cast<unsigned char>(byte)];
  return rest;
}

void SectionAssembly::restart() {
  bytes.clear();
  expectsBegin = true;
}

SectionAssembly::Outcome SectionAssembly::take(const unsigned char* packet) {
  Outcome outcome;
  const unsigned char* const payload = packet + kPacketHeaderSize;
  if ((packet[1] & vantor::kPayloadUnitStart) != 0)
    begin(payload, outcome);
  else if (isUnderWay())
    append(payload, kPayloadSize, outcome);
  else if (!expectsBegin)
    outcome.fault = "a packet goes on with a section that is not under way";
  return outcome;
}

void SectionAssembly::begin(const unsigned char* payload, Outcome& outcome) {
  if (isUnderWay()) outcome.fault = "a section begins while another is under way";
  bytes.clear();
  expectsBegin = false;
  if (payload[0] != 0) {
    outcome.fault = "a pointer_field is not 0";
    return;
  }
  append(payload + 1, kPayloadSize - 1, outcome);
}

/// Sections may stand back to back: messages of conditional access do.
void SectionAssembly::append(const unsigned char* data, std::size_t size, Outcome& outcome) {
  while (size > 0) {
    if (bytes.empty()) {
      if (data[0] == kStuffingSection) return;
      head = headOf(data, size);
      outcome.begun = &head;
    }
    // The head of a section that begins near a packet's end can be cut; its length is read when it is there.
    const std::size_t known = bytes.size() < vantor::kSectionHeaderSize
                                  ? vantor::kSectionHeaderSize
                                  : sectionSize(reinterpret_cast<const unsigned char*>(bytes.data()));
    const std::size_t taken = std::min(size, known - bytes.size());
    bytes.append(reinterpret_cast<const char*>(data), taken);
    data += taken;
    size -= taken;
    if (bytes.size() >= vantor::kSectionHeaderSize &&
        bytes.size() == sectionSize(reinterpret_cast<const unsigned char*>(bytes.data())))
      end(outcome);
  }
}

void SectionAssembly::end(Outcome& outcome) {
  whole.swap(bytes);
  bytes.clear();
  outcome.ended = &whole;
  if (hasCrc(whole) && crc32(whole) != 0) outcome.fault = "a section's CRC_32 is wrong";
}
