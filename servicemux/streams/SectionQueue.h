#pragma once

#include <boost/thread/mutex.hpp>
#include <list>
#include <string>

#include "servicemux/guarded.h"
#include "servicemux/muxer/ClassicPace.h"
#include "servicemux/muxer/muxed_stream.h"
#include "servicemux/streams/Repetition.h"
#include "servicemux/streams/TableContent.h"

namespace vantor {

/// Sends each queued item, a string of whole packets, once, first in, first out, at a rate in bit/s.
///
/// An item can bring a rate of its own. Behind other items it takes effect when the item's last packet has left;
/// in an empty queue, at once. With a rate of 0 the stream sends as fast as the muxer allows, and with the timing
/// of the standards 25 ms lie between two items: they are the same tables (EN 300 468 clause 5.1.4.1). The stream
/// is linked to the muxer from its first item to clear_queue(), also while it is empty. Nothing bounds its length.
class SERVICEMUX_API SectionQueue : public muxed_stream {
 public:
  /// Throws boost::thread_resource_error when the mutex cannot be made.
  SectionQueue(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned int rate);
  ~SectionQueue() override;

  /// Sets the rate in bit/s. The packet that is next keeps its due time. Any thread.
  void SetRate(unsigned int rate);

  /// Appends a copy of `data`, whole packets; nothing when it is empty. `rate` in bit/s, 0 to keep the current one.
  /// Any thread that holds no stream's mutex.
  void queue_section(const std::string& data, unsigned int rate) SERVICEMUX_EXCLUDES(lock);

  /// Drops all that has not been sent. Any thread that holds no stream's mutex.
  void clear_queue() SERVICEMUX_EXCLUDES(lock);

  /// How often an item has begun to leave since construction or the last clear_queue(). Any thread.
  [[nodiscard]] Repetition sendings();

  unsigned int getBitrate() override;
  [[nodiscard]] int get_packet(signed char* packet, time_point now, time_point& next) override;

  void beginClassic(time_point now) override;
  [[nodiscard]] TableLayout layoutOf(PacedTable& table) override;
  [[nodiscard]] bool takeSection(PacedTable& table, std::size_t section, time_point now,
                                 std::string& packets) override;
  [[nodiscard]] std::vector<PacedTable*> pacedTables() override { return {&paced}; }

 private:
  struct queued_data {
    TableContent data;
    unsigned int rate = 0;  // bit/s, 0 keeps the current one
  };
  using Items = std::list<queued_data>;

  [[nodiscard]] boost::chrono::nanoseconds interval() const SERVICEMUX_REQUIRES(lock);
  void takePacket(signed char* packet) SERVICEMUX_REQUIRES(lock);
  void adoptRate(unsigned int newRate) SERVICEMUX_REQUIRES(lock);
  void recalculate_timing() SERVICEMUX_REQUIRES(lock);

  PacedTable paced;  // the muxer's
  Items queue SERVICEMUX_GUARDED_BY(lock);
  Items sent SERVICEMUX_GUARDED_BY(lock);         // kept for the next caller to free, away from the producer
  unsigned int rate SERVICEMUX_GUARDED_BY(lock);  // bit/s
  ClassicPace pace SERVICEMUX_GUARDED_BY(lock);
  Repetition begun SERVICEMUX_GUARDED_BY(lock);

  boost::mutex lock;
};

}  // namespace vantor
