#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <string>

#include "servicemux/guarded.h"
#include "servicemux/muxer/ClassicPace.h"
#include "servicemux/muxer/muxed_stream.h"
#include "servicemux/streams/Repetition.h"
#include "servicemux/streams/TableContent.h"

namespace vantor {

/// Repeats one table, a string of whole packets, for ever: its packets leave spread evenly over a period in ms.
///
/// A new table takes over at the next packet and starts from its first one. With a period of 0 the table is sent
/// as fast as the muxer allows. The stream is linked to the muxer while it holds a table.
class SERVICEMUX_API SimpleTable : public muxed_stream {
 public:
  /// Throws boost::thread_resource_error when the mutex cannot be made.
  SimpleTable(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned int period);
  ~SimpleTable() override;

  /// Sets the period in ms. The packet that is next keeps its due time. Any thread.
  void SetPeriod(unsigned int period);

  /// Puts a table on air at once. The stream swaps it with what it held, so the caller gets the previous packets
  /// back; an empty string clears the stream. Any thread that holds no stream's mutex.
  void new_packetized_table(std::string& packets) SERVICEMUX_EXCLUDES(lock);

  /// The same, and remembers the table's version and size in bytes for the owner. One caller at a time.
  void new_packetized_table_with_metadata(std::string& packets, unsigned char version, unsigned int size)
      SERVICEMUX_EXCLUDES(lock);

  /// Takes the table off air. Version and bitrate stay as they were. Any thread that holds no stream's mutex.
  /// Returns 0.
  int clear_packetized_table() SERVICEMUX_EXCLUDES(lock);

  /// The version of the table set last. Any thread.
  unsigned char metadataVersion() const;
  /// The size of the table on air as its owner gave it, 0 when there is none. Any thread.
  unsigned int metadataSize() const;

  /// What is on air now and how often it has been sent since it was put there. Any thread.
  [[nodiscard]] StreamedTable onAir();

  unsigned int getBitrate() override;
  [[nodiscard]] int get_packet(signed char* packet, time_point now, time_point& next) override;

  void beginClassic(time_point now) override;
  [[nodiscard]] TableLayout layoutOf(PacedTable& table) override;
  [[nodiscard]] bool takeSection(PacedTable& table, std::size_t section, time_point now,
                                 std::string& packets) override;
  [[nodiscard]] std::vector<PacedTable*> pacedTables() override { return {&paced}; }

 private:
  void recalculate_timing() SERVICEMUX_REQUIRES(lock);

  // Written by the owner, read by displays too.
  std::atomic<unsigned int> size{0};
  std::atomic<unsigned char> version{0};

  PacedTable paced;  // the muxer's
  TableContent content SERVICEMUX_GUARDED_BY(lock);
  TableFacts facts SERVICEMUX_GUARDED_BY(lock);  // of the content
  ClassicPace pace SERVICEMUX_GUARDED_BY(lock);
  unsigned int bitrate SERVICEMUX_GUARDED_BY(lock) = 0;  // bit/s
  unsigned int period SERVICEMUX_GUARDED_BY(lock);       // ms
  Repetition repetition SERVICEMUX_GUARDED_BY(lock);

  boost::mutex lock;
};

}  // namespace vantor
