#include "programs/tables/sections/TransportStreamReader.h"

#include <string>
#include <utility>

#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sections/SectionAssembler.h"

namespace vantor::tables {

namespace {

std::uint16_t pidOf(std::string_view packet) { return pidAt(packet, 1); }

void checkPackets(std::string_view bytes) {
  if (bytes.empty()) throw InputError("the file is empty");
  for (std::size_t at = 0; at < bytes.size(); at += kPacketSize) {
    const std::string where = "byte " + std::to_string(at) + ": ";
    if (byteAt(bytes, at) != kSyncByte) throw InputError(where + "a packet does not begin with 0x47");
    if (bytes.size() - at < kPacketSize)
      throw InputError(where + "the last packet has only " + std::to_string(bytes.size() - at) + " of " +
                       std::to_string(kPacketSize) + " bytes");
  }
}

}  // namespace

TransportStreamReader::TransportStreamReader(std::string_view bytes) : bytes(bytes) { checkPackets(bytes); }

void TransportStreamReader::follow(std::uint16_t pid) {
  if (pid != kNullPid && followed.insert(pid).second) ahead.push_back(pid);
}

void TransportStreamReader::read(const SectionSink& onSection, const FaultSink& onFault) {
  while (!ahead.empty()) {
    std::map<std::uint16_t, SectionAssembler> assemblers;
    for (const std::uint16_t pid : std::exchange(ahead, {}))
      assemblers.try_emplace(
          pid, [&onSection, pid](const Section& section) { onSection(pid, section); },
          [&onFault, pid](SectionFault fault) { onFault(pid, fault); });
    for (std::size_t at = 0; at < bytes.size(); at += kPacketSize)
      if (const auto found = assemblers.find(pidOf(packet(at))); found != assemblers.end())
        found->second.push(packet(at));
  }
}

std::size_t TransportStreamReader::packets() const { return bytes.size() / kPacketSize; }

void TransportStreamReader::readOthers(
    const std::function<void(std::uint16_t pid, std::string_view packet)>& onPacket) const {
  for (std::size_t at = 0; at < bytes.size(); at += kPacketSize)
    if (const std::uint16_t pid = pidOf(packet(at)); pid != kNullPid && followed.count(pid) == 0)
      onPacket(pid, packet(at));
}

std::map<std::uint16_t, std::uint64_t> TransportStreamReader::otherPackets() const {
  std::map<std::uint16_t, std::uint64_t> others;
  readOthers([&others](std::uint16_t pid, std::string_view) { ++others[pid]; });
  return others;
}

std::string_view TransportStreamReader::packet(std::size_t at) const { return bytes.substr(at, kPacketSize); }

}  // namespace vantor::tables
