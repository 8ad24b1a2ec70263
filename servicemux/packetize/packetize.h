#pragma once

#include <cstddef>
#include <string>

#include "interface/dvbpsi.h"
#include "servicemux/export.h"

namespace vantor {

/// Appends the packets of a section chain on `pid` to `out`: every section starts a packet of its own behind a
/// pointer_field of 0, and the rest of its last packet is stuffed with 0xFF. The first packet carries `cc` modulo
/// 16, each further one the next value. A null chain appends nothing. Returns one more than the counter that the
/// next packet would carry; the offset of one is kept for compatibility.
SERVICEMUX_API unsigned char packetize(unsigned short pid, unsigned char cc, std::string& out,
                                       const dvbpsi_psi_section_s* sections);

/// Appends the packets of CA sections, which stand back to back in `sections`. Only the first packet has a
/// pointer_field, which is 0; the sections follow each other behind it. Without sections there is still that first
/// packet, all stuffing, which is kept for compatibility. `cc` and the result are those of packetize.
SERVICEMUX_API unsigned char packetizeBytes(unsigned short pid, unsigned char cc, std::string& out,
                                            const std::string& sections);

/// Appends the first packet of `packets`, which has at least one, to `out` as often as `packets` has packets, and
/// gives it the PID. `out` is to be empty. Returns the counter that follows that of the first packet.
SERVICEMUX_API unsigned char pidifyTSPackets(unsigned short pid, std::string& out, const std::string& packets);

/// Bytes of one section as it is sent: from table_id to its end, CRC_32 included where it has one.
SERVICEMUX_API std::size_t sectionSize(const dvbpsi_psi_section_s& section);

/// The same of all sections of a chain, 0 for a null one.
SERVICEMUX_API std::size_t sectionBytes(const dvbpsi_psi_section_s* sections);

/// The length of a chain, modulo 256.
SERVICEMUX_API unsigned char chainLength(const dvbpsi_psi_section_s* sections);

/// Appends one null packet (PID 0x1FFF, continuity counter 0) to `out`.
SERVICEMUX_API void appendNullPacket(std::string& out);

}  // namespace vantor
