#pragma once

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "interface/dvbpsi.h"
#include "servicemux/export.h"
#include "servicemux/guarded.h"
#include "servicemux/sections/SectionChain.h"

namespace vantor {

class RegistryOwner;
class SectionQueue;
struct TableOnAir;

/// The TDT and TOT of one output (EN 300 468 clauses 5.2.5 and 5.2.6), kept current by a thread of its owner's.
///
/// That thread runs timeUpdateFct(), which once a period writes the host's UTC time into the tables that are set
/// and puts their packets into a queue. There are none until setLocalTimeOffsetTable(). All other functions are for
/// one thread at a time. To end it, call stopUpdating() and join the thread; dropQueue() may come before.
class SERVICEMUX_API TimeTables {
 public:
  /// Throws boost::thread_resource_error when the mutex or the condition variable cannot be made.
  TimeTables(RegistryOwner* owner, std::unique_ptr<SectionQueue> queue);
  TimeTables(const TimeTables&) = delete;
  TimeTables& operator=(const TimeTables&) = delete;
  ~TimeTables();

  /// Puts a TDT on air and, unless `offsets` is empty, a TOT with one local time offset descriptor. A descriptor
  /// has room for 19 entries: more are refused with an error in the log, and what was on air stays.
  void setLocalTimeOffsetTable(const std::vector<dvbpsi_local_time_offset_s>& offsets);

  /// Takes TDT and TOT off air, queued packets included.
  void clearLocalTimeOffsetTable();

  /// Sets the period of TDT and TOT in ms. It counts from the update that was last.
  void setPeriod(unsigned int period);

  /// The updater thread's loop; returns after stopUpdating(). Its waits are interruption points.
  /// Behind each update it calls `after`, without a lock.
  void timeUpdateFct(const std::function<void()>& after = [] {});

  /// Makes timeUpdateFct() return without waiting for the end of the period.
  void stopUpdating();

  /// Takes the queue out of the muxer and deletes it; from then on nothing is sent, though timeUpdateFct() may run
  /// on, and stopUpdating() is all that may still be called.
  void dropQueue();

  /// Adds a line for each table on air.
  void listOnAir(std::vector<TableOnAir>& tables);

  /// Writes a UTC time (its low 40 bits) into a section of a TDT or TOT, with the TOT's CRC_32 anew, and returns
  /// its packets.
  static std::string updateUTC(long long utc, dvbpsi_psi_section_s* section);

 private:
  struct Update {
    boost::chrono::steady_clock::time_point due;
    boost::chrono::steady_clock::time_point now;
    boost::chrono::nanoseconds elapsed;  // of the UTC second
    bool isDone = false;
  };

  [[nodiscard]] bool isTime(const Update& update) const SERVICEMUX_REQUIRES(timeMutex);

  [[nodiscard]] boost::chrono::steady_clock::time_point nextUpdate(const Update& last) const
      SERVICEMUX_REQUIRES(timeMutex);
  void update() SERVICEMUX_REQUIRES(timeMutex);
  SectionQueue& ownersQueue() SERVICEMUX_NOT_ANALYSED;
  [[nodiscard]] SectionChain makeTot(unsigned char tableId,
                                     const std::vector<dvbpsi_local_time_offset_s>& offsets) const
      SERVICEMUX_REQUIRES(timeMutex);

  RegistryOwner* const owner;

  SectionChain tdtSections SERVICEMUX_GUARDED_BY(timeMutex);
  SectionChain totSections SERVICEMUX_GUARDED_BY(timeMutex);
  long long lastUTCTime SERVICEMUX_GUARDED_BY(timeMutex) = 0;  // as GetUTCTime gives it
  // Thread-safe by itself; it goes away under the mutex.
  std::unique_ptr<SectionQueue> timeQueue SERVICEMUX_GUARDED_BY(timeMutex);

  std::atomic<bool> stop{false};            // set under timeMutex, so that the updater does not miss it
  boost::condition_variable timeCondition;  // with timeMutex
  boost::mutex timeMutex;
};

}  // namespace vantor
