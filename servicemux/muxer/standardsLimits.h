#pragma once

#include <boost/chrono.hpp>
#include <cstdint>

#include "interface/psi/section.h"
#include "servicemux/muxer/packetTime.h"

/// The limits that the pacing by deadlines holds, and the room it leaves itself to hold them.

namespace vantor::standards {

/// Rates are counted in millionths of a packet a second: divided by the ns from packet to packet this is one.
constexpr std::uint64_t kOnePacketASecond = 1000000000000000;

/// From a section's last byte to the first one of the next with the same PID, table_id and table_id_extension: a
/// little more than it has to be, because a datagram takes its time to leave.
constexpr boost::chrono::nanoseconds kGap =
    boost::chrono::milliseconds(kSectionDistance) + boost::chrono::microseconds(200);

/// Within what a new table's first section leaves: no more than its distance to the version before.
constexpr boost::chrono::milliseconds kPrompt{kSectionDistance};

// A period is a maximum. A section may leave when so much of it is over, to share a datagram with others; it waits
// for them for a further part of it at most. The rest is for what stands in its way.
constexpr double kEarliest = 0.9;  // to get out of the way of others
constexpr double kEligible = 0.915;
constexpr double kWait = 0.02;
// When so much is over it does not wait for its packet slot either, as long as what is ahead of its slots is no
// more than kBurst, and no more than the bitrate leaves in a second.
constexpr double kPressing = 0.94;
constexpr boost::chrono::milliseconds kBurst{100};
// Not sooner than this before it is late, since many sections of a long period can have been sent together.
constexpr boost::chrono::milliseconds kLongestPressing{100};
// Sections of one table keep apart: by so much of their share of the period, unless one gets late that way.
constexpr double kApart = 0.85;
constexpr double kLate = 0.97;

/// Messages of conditional access that come on top of the tables give way to them for so long.
constexpr boost::chrono::milliseconds kMessagesWait{500};

/// The transport buffer of a decoder (ISO/IEC 13818-1 clause 2.4.2) holds 512 bytes, two packets and a half, and
/// empties at 1 Mbit/s: 188 bytes in 1.504 ms, and a little reserve.
constexpr boost::chrono::nanoseconds kBufferInterval = boost::chrono::microseconds(1550);
/// Millionths of a packet a second at 1 Mbit/s.
constexpr std::uint64_t kBufferRate = 1000 * kOnePacketASecond / kNanosecondsTimesKbps;
/// A PID that is asked for more than that leaves faster than it is asked to by this much.
constexpr double kHaste = 1.6;

/// The packet slots of one datagram take no longer, so that nothing gets late behind it.
constexpr boost::chrono::milliseconds kLongestDatagram{20};

/// What of the ceiling is given away, so that what has fallen behind can catch up.
constexpr double kUsable = 0.96;
/// What is kept of each second for packets that press: three datagrams at most.
constexpr unsigned int kMostKept = 21;

/// From this share of the ceiling on no packet waits for others.
constexpr double kBusy = 0.7;

}  // namespace vantor::standards
