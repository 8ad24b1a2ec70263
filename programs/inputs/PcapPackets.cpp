#include "programs/inputs/PcapPackets.h"

#include <pcap/pcap.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <utility>

#include "programs/tables/json/InputError.h"

namespace vantor::inputs {

namespace {

/// For fopencookie(3). An exception may not pass through libpcap: it waits until libpcap has returned. An end that
/// comes too soon is to libpcap that of the file.
ssize_t readCookie(void* cookie, char* to, std::size_t size) {
  auto& file = *static_cast<PcapPackets::File*>(cookie);
  try {
    return static_cast<ssize_t>(file.bytes->read(to, size, Deadline::max()).value_or(0));
  } catch (...) {
    file.error = std::current_exception();
    return -1;
  }
}

}  // namespace

PcapPackets::PcapPackets(std::unique_ptr<ByteSource> bytes, std::string name, std::optional<Endpoint> stream)
    : file{std::move(bytes), nullptr}, name(std::move(name)), stream(std::move(stream)) {
  cookie_io_functions_t functions{};
  functions.read = readCookie;
  std::FILE* const cookie = fopencookie(&file, "r", functions);
  if (cookie == nullptr) throw std::bad_alloc();
  std::array<char, PCAP_ERRBUF_SIZE> error{};
  handle = pcap_fopen_offline_with_tstamp_precision(cookie, PCAP_TSTAMP_PRECISION_NANO, error.data());
  if (handle == nullptr) {
    std::fclose(cookie);
    rethrow();
    throw tables::InputError(this->name + ": " + tables::printable(error.data()));
  }
  const int link = pcap_datalink(handle);
  if (isKnownLink(link)) return;
  const char* const linkName = pcap_datalink_val_to_description(link);
  pcap_close(handle);
  throw tables::InputError(this->name + ": frames of link type " +
                           (linkName != nullptr ? linkName : std::to_string(link)) + " cannot be read");
}

PcapPackets::~PcapPackets() { pcap_close(handle); }

Read PcapPackets::read(Packet& packet, Deadline /*deadline*/) {
  while (!datagrams.next(packet))
    if (!readFrame()) return Read::kEnd;
  return Read::kPacket;
}

/// Returns false when there are no more.
bool PcapPackets::readFrame() {
  if (!fault.empty()) return false;
  pcap_pkthdr* head = nullptr;
  const u_char* data = nullptr;
  const int result = pcap_next_ex(handle, &head, &data);
  rethrow();
  if (result == PCAP_ERROR) fault = "the capture breaks off: " + tables::printable(pcap_geterr(handle));
  if (result != 1) return false;
  const std::string_view frame(reinterpret_cast<const char*>(data), head->caplen);
  // With the precision that was asked for, the field holds nanoseconds.
  take(inputs::readFrame(pcap_datalink(handle), frame), head->ts.tv_sec * kNanosecondsPerSecond + head->ts.tv_usec);
  return true;
}

void PcapPackets::rethrow() {
  if (file.error) std::rethrow_exception(std::exchange(file.error, nullptr));
}

void PcapPackets::take(const Frame& frame, std::int64_t time) {
  switch (frame.kind) {
    case Frame::Kind::datagram:
      break;
    case Frame::Kind::fragment:
      ++found.fragments;
      return;
    case Frame::Kind::cut:
      ++found.cutFrames;
      return;
    case Frame::Kind::other:
      ++found.otherFrames;
      return;
  }
  const bool holdsPackets = DatagramPackets::holdsPackets(frame.payload);
  if (!stream && holdsPackets) stream = frame.destination;
  if (stream && frame.destination == *stream) return datagrams.push(frame.payload, time);
  ++found.otherFrames;
  if (holdsPackets) ++others[frame.destination];
}

std::vector<std::string> PcapPackets::notes() const {
  constexpr std::size_t kMostNames = 8;
  std::vector<std::string> notes;
  if (!others.empty()) {
    std::string line = "the stream to " + textOf(*stream) + " is read; there are others to ";
    std::size_t named = 0;
    for (const auto& [endpoint, count] : others) {
      if (named == kMostNames) break;
      line += (named++ == 0 ? "" : ", ") + textOf(endpoint) + " (" + std::to_string(count) +
              (count == 1 ? " datagram)" : " datagrams)");
    }
    if (others.size() > named) line += " and " + std::to_string(others.size() - named) + " more addresses";
    notes.push_back(line + "; --stream chooses");
  }
  if (!fault.empty()) notes.push_back(fault);
  if (!file.bytes->note().empty()) notes.push_back(file.bytes->note());
  return notes;
}

}  // namespace vantor::inputs
