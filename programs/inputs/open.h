#pragma once

#include <memory>
#include <string>

#include "programs/inputs/InputOptions.h"
#include "programs/inputs/PacketSource.h"

namespace vantor::inputs {

/// Opens a transport stream. `input` is a path, "-" for stdin, or live "udp://ADDR:PORT" or "rtp://ADDR:PORT" (IPv6
/// as
/// "[ADDR]", "udp://:PORT" for all addresses, "udp://SOURCE@GROUP:PORT" for one sender of a multicast group). What
/// is in it shows in its content and not in its name: packets of 188, 192 or 204 bytes, pcap or pcapng with such
/// packets in UDP or RTP, each of these also in gzip or xz. Throws InputError with `input` in front when it cannot
/// be opened or is something else.
std::unique_ptr<PacketSource> open(const std::string& input, const InputOptions& options = {});

/// Whether `input` names a live input.
bool isLive(const std::string& input);

}  // namespace vantor::inputs
