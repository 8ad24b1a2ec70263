#pragma once

#include <boost/chrono.hpp>
#include <boost/intrusive/list_hook.hpp>
#include <string>

#include "servicemux/export.h"
#include "servicemux/muxer/ClassicTurns.h"
#include "servicemux/muxer/PacedTable.h"
#include "servicemux/streams/Repetition.h"
#include "servicemux/streams/TableContent.h"

namespace vantor {

class SttSource;

struct subtable_tag;
using subtable_hook = boost::intrusive::list_base_hook<boost::intrusive::tag<subtable_tag>,
                                                       boost::intrusive::link_mode<boost::intrusive::safe_link>>;

/// One subtable of a TableCarrousel: its packets, its period in ms, its turn, and what the deadlines know of it.
///
/// A dynamic subtable has no packets of its own; a source makes its single packet whenever it is sent. All members
/// are guarded by the mutex of the carousel that owns the subtable, but for those of the PacedTable.
class SERVICEMUX_API SubTable : public subtable_hook, public ClassicTurn, public PacedTable {
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

  void makePacket(std::string& packets) const;

  TableContent content;
  TableFacts facts;          // of the content; the carousel's
  unsigned int bitrate = 0;  // bit/s
  unsigned int period = 0;   // ms
  unsigned char numberOfSections = 0;
  const bool dynamic;
  SttSource* const registry;
  Repetition repetition;
};

}  // namespace vantor
