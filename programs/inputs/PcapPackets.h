#pragma once

#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "programs/inputs/ByteSource.h"
#include "programs/inputs/DatagramPackets.h"
#include "programs/inputs/frames.h"

struct pcap;

namespace vantor::inputs {

/// The packets of one stream of datagrams in a capture of a network (pcap or pcapng).
class PcapPackets final : public PacketSource {
 public:
  /// The file as libpcap reads it, and what went wrong in that.
  struct File {
    std::unique_ptr<ByteSource> bytes;
    std::exception_ptr error;
  };

  /// `name` is the input's, as messages have it. `stream` is which to read; none for the first with packets in it.
  /// Throws InputError when libpcap cannot read the file.
  PcapPackets(std::unique_ptr<ByteSource> bytes, std::string name, std::optional<Endpoint> stream);
  PcapPackets(const PcapPackets&) = delete;
  PcapPackets& operator=(const PcapPackets&) = delete;
  ~PcapPackets() override;

  Read read(Packet& packet, Deadline deadline) override;
  const InputCounts& counts() const override { return found; }
  std::vector<std::string> notes() const override;
  std::optional<double> progress() const override { return file.bytes->progress(); }

 private:
  bool readFrame();
  void rethrow();
  void take(const Frame& frame, std::int64_t time);

  File file;
  const std::string name;
  std::optional<Endpoint> stream;
  pcap* handle = nullptr;
  InputCounts found;
  DatagramPackets datagrams{found};
  std::map<Endpoint, std::uint64_t> others;  // datagrams with packets, of the streams that are not read
  std::string fault;
};

}  // namespace vantor::inputs
