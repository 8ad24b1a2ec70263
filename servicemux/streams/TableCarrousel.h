#pragma once

#include <boost/intrusive/list.hpp>
#include <boost/thread/mutex.hpp>
#include <memory>
#include <string>

#include "servicemux/guarded.h"
#include "servicemux/muxer/ClassicPace.h"
#include "servicemux/muxer/ClassicTurns.h"
#include "servicemux/muxer/muxed_stream.h"
#include "servicemux/streams/SubTable.h"

namespace vantor {

/// Shares one PID among subtables, each with a period of its own.
///
/// The carousel sends at the sum of its subtables' bitrates, one packet a slot. After each section it goes on with
/// the subtable that has been due longest; when none is due, with the first one, which thereby takes the spare
/// slots. Sections are never interleaved. The carousel owns its subtables and hands out plain pointers as handles,
/// valid until the subtable is cleared or the carousel is destroyed. All operations may come from any thread that
/// holds no stream's mutex. The carousel is linked to the muxer while it holds a subtable.
class SERVICEMUX_API TableCarrousel : public muxed_stream {
 public:
  /// `initialCC` is the counter that the first packet continues from, kNoCC for none.
  /// Throws boost::thread_resource_error when the mutex cannot be made.
  TableCarrousel(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned char initialCC,
                 Tenancy tenancy = Tenancy::kOwner);
  ~TableCarrousel() override;

  /// Adds a subtable that repeats `packets` (swapped in) every `period` ms. Null, with nothing changed, for an
  /// empty string or a period below 25 ms.
  [[nodiscard]] SubTable* new_packetized_subtable(std::string& packets, unsigned int period,
                                                  unsigned char nSections) SERVICEMUX_EXCLUDES(lock);

  /// Adds a subtable whose packet `registry` makes at each sending. Null for a period below 25 ms.
  [[nodiscard]] SubTable* new_packetized_subtable(unsigned int period, SttSource* registry)
      SERVICEMUX_EXCLUDES(lock);

  /// Replaces a subtable's packets (the caller gets the old ones) in its place, with its period and due time; an
  /// empty string removes it. Returns 0, or -1 for a subtable that is in no carousel.
  int replace_packetized_subtable(SubTable* sub, std::string& packets, unsigned char nSections)
      SERVICEMUX_EXCLUDES(lock);

  /// Returns 0 when the subtable is in a carousel, else -1.
  int replace_packetized_subtable(SubTable* sub) SERVICEMUX_EXCLUDES(lock);

  /// Gives a subtable another period in ms, with the rate that follows from it; its packets and its place stay, and
  /// what is next keeps its due time. Returns 0, or -1, with nothing changed, for one that is in no carousel or a
  /// period below 25 ms.
  int SetPeriod(SubTable* sub, unsigned int period) SERVICEMUX_EXCLUDES(lock);

  /// Removes and deletes a subtable. Returns 0, or -1 for one that is in no carousel.
  int clear_packetized_subtable(SubTable* sub) SERVICEMUX_EXCLUDES(lock);

  [[nodiscard]] unsigned int GetNumberSubTables() SERVICEMUX_EXCLUDES(lock);

  /// What is on air of one subtable and how often it has been sent.
  [[nodiscard]] StreamedTable onAir(const SubTable& sub) SERVICEMUX_EXCLUDES(lock);

  unsigned int getBitrate() override;
  [[nodiscard]] int get_packet(signed char* packet, time_point now, time_point& next) override;

  void beginClassic(time_point now) override;
  [[nodiscard]] TableLayout layoutOf(PacedTable& table) override;
  [[nodiscard]] bool takeSection(PacedTable& table, std::size_t section, time_point now,
                                 std::string& packets) override;
  [[nodiscard]] std::vector<PacedTable*> pacedTables() override;

 private:
  using SubTableList =
      boost::intrusive::list<SubTable, boost::intrusive::base_hook<subtable_hook>,
                             boost::intrusive::constant_time_size<true>, boost::intrusive::size_type<unsigned int>>;
  SubTable* add(std::unique_ptr<SubTable> owned) SERVICEMUX_EXCLUDES(lock);
  std::unique_ptr<SubTable> remove(SubTable& sub) SERVICEMUX_REQUIRES(lock);
  void linkWhileFilled() SERVICEMUX_EXCLUDES(lock);
  bool sendPacket(signed char* packet, time_point now) SERVICEMUX_REQUIRES(lock);
  bool takePacket(SubTable& sub, signed char* packet, time_point now) SERVICEMUX_REQUIRES(lock);
  void GetNextTable(time_point now) SERVICEMUX_REQUIRES(lock);
  void recalculate_timing() SERVICEMUX_REQUIRES(lock);

  SubTableList subtables SERVICEMUX_GUARDED_BY(lock);         // in the order of their adding
  SubTable* current SERVICEMUX_GUARDED_BY(lock) = nullptr;    // being sent, null when it was removed
  unsigned int totalBitrate SERVICEMUX_GUARDED_BY(lock) = 0;  // bit/s
  ClassicPace pace SERVICEMUX_GUARDED_BY(lock);               // of the slots
  ClassicTurns turns SERVICEMUX_GUARDED_BY(lock);             // of the same subtables

  boost::mutex lock;
};

}  // namespace vantor
