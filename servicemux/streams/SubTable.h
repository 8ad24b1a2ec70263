#pragma once

#include <boost/chrono.hpp>
#include <boost/intrusive/list_hook.hpp>
#include <boost/intrusive/set_hook.hpp>
#include <cstdint>
#include <string>

#include "servicemux/export.h"
#include "servicemux/streams/Repetition.h"

namespace vantor {

class SttSource;

struct subtable_tag;
using subtable_hook = boost::intrusive::list_base_hook<boost::intrusive::tag<subtable_tag>,
                                                       boost::intrusive::link_mode<boost::intrusive::safe_link>>;

/// One subtable of a TableCarrousel: its packets, its period in ms and when it is due next.
///
/// A dynamic subtable has no packets of its own; a source makes its single packet whenever it is sent. All members
/// are guarded by the mutex of the carousel that owns the subtable.
class SERVICEMUX_API SubTable : public subtable_hook {
 public:
  using time_point = boost::chrono::steady_clock::time_point;

  /// Swaps `packets` in. First due at a random moment within the period, so that the subtables of a carousel do not
  /// all come due together. `registry` fills the packets of a dynamic subtable and is not owned.
  SubTable(std::string& packets, unsigned int period, unsigned char nSections, bool dynamic, SttSource* registry);

  /// Swaps the packets (the caller gets the old ones) and starts from the first.
  void NewPackets(std::string& packets);
  void NewNSections(unsigned char nSections);
  /// Sets the period in ms and derives the bitrate from it.
  void NewPeriod(unsigned int period);

  /// How long the subtable has been due at `now`; 0 when it is not.
  [[nodiscard]] boost::chrono::nanoseconds getCurrentTicket(time_point now) const;

  /// Whether the packet that is next begins a section.
  [[nodiscard]] bool CheckIfPayloadUnitStart() const;

  /// Writes the next packet (188 bytes). True when another subtable may follow: a section or the subtable is
  /// complete. With the subtable's last packet the due time moves on by the period.
  [[nodiscard]] bool GetSubtablePacket(signed char* packet);

 private:
  friend class TableCarrousel;

  void completeRepetition();

  std::string packets;
  unsigned int readOffset = 0;  // bytes
  unsigned int bitrate = 0;     // bit/s
  unsigned int period = 0;      // ms
  unsigned char numberOfSections = 0;
  const bool dynamic;
  SttSource* const registry;
  time_point dueTime;

  // The carousel's: its order in the list, its place in the index and what displays show.
  std::uint64_t order = 0;
  boost::intrusive::set_member_hook<> indexHook;
  Repetition repetition;
};

}  // namespace vantor
