#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <boost/intrusive/list.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "interface/psi/packet.h"
#include "servicemux/export.h"
#include "servicemux/guarded.h"
#include "servicemux/muxer/Batch.h"
#include "servicemux/muxer/DatagramSink.h"
#include "servicemux/muxer/MuxerStatistics.h"
#include "servicemux/muxer/SharedPids.h"
#include "servicemux/muxer/StandardsPace.h"
#include "servicemux/muxer/TimingProfile.h"
#include "servicemux/muxer/muxed_stream.h"

namespace vantor {

/// One slot of the packet ring.
struct pkt_t {
  signed char bytes[kPacketSize];
};

/// Sends the packets of all linked streams as UDP datagrams, at a rate that follows the tables under a ceiling.
///
/// A producer thread runs muxerRun(): it offers each linked stream the current packet slot, in link order, and
/// puts the packets into a ring; it sleeps to the next slot time and jumps to the earliest due time, at most
/// 500 ms ahead, when nothing is due. A consumer thread runs consumerRun(): it gathers packets into datagrams of
/// up to seven and sends them. A partial datagram leaves when the producer announces a gap of more than 25 ms.
/// No stuffing is made.
///
/// A guest, a stream that shares a PID with others, is passed over while another stream is linked on its PID; what
/// changes there is told in the log.
///
/// All that is the classic timing. With the timing of the standards the producer sends too: it sleeps until a
/// datagram is to leave, has a StandardsPace choose its packets and sends it, while ring and consumer rest.
///
/// The streams and the socket belong to others and must outlive their use here.
///
/// Lock order: stream-list mutex, then a stream's own mutex, then the consumer mutex. Packets cross from producer
/// to consumer without a lock.
class SERVICEMUX_API VBRmuxer {
 public:
  /// `socket` is copied, -1 makes every send fail; `destination` (IPv4) is kept by pointer; `bitrate` in kbit/s
  /// as for SetBitrate; `packetsPerDatagram` from 1 to 7, brought into that range.
  /// Throws boost::thread_resource_error when a mutex or condition variable cannot be made.
  VBRmuxer(int& socket, sockaddr* destination, unsigned int bitrate, unsigned int packetsPerDatagram);
  /// The same for any sink, which must outlive the consumer's loop.
  VBRmuxer(DatagramSink& sink, unsigned int bitrate, unsigned int packetsPerDatagram);
  VBRmuxer(const VBRmuxer&) = delete;
  VBRmuxer& operator=(const VBRmuxer&) = delete;
  /// Both loops must have returned. Streams that are still linked may be destroyed later.
  ~VBRmuxer();

  /// Sets the ceiling in kbit/s: 0 counts as 1, more than 100000 as 100000. Takes effect at the next packet
  /// slot. Any thread that holds no stream's mutex.
  void SetBitrate(unsigned int kbps);

  /// Chooses who decides when packets leave, Classic at construction. What is linked stays linked, and every
  /// counter goes on. Any thread that holds no stream's mutex.
  void setTimingProfile(TimingProfile newProfile);
  [[nodiscard]] TimingProfile timingProfile() const { return profile.load(); }

  /// How long in ms a packet waits at most for others to fill its datagram, 20 at construction; for Standards. Any
  /// thread that holds no stream's mutex.
  void setDatagramWait(unsigned int ms);

  /// The ceiling in kbit/s. Any thread.
  [[nodiscard]] unsigned int ceiling() const { return bitrate.load(); }

  /// What each table on air asks for, with the timing of the standards; none with the classic one. Any thread that
  /// holds no stream's mutex.
  [[nodiscard]] std::vector<TableNeed> needs() SERVICEMUX_EXCLUDES(streamListMutex);

  /// The producer's loop; returns after muxerStop().
  void muxerRun();

  /// The consumer's loop; returns after muxerStop(). What is still in the ring is not sent.
  void consumerRun();

  /// Whether a stream that is no guest is linked on this PID. Any thread that holds no stream's mutex.
  [[nodiscard]] bool isTaken(unsigned short pid) SERVICEMUX_EXCLUDES(streamListMutex);

  /// Makes both loops return, whatever they are waiting for; does not wait for them. Any thread that holds
  /// neither a stream's mutex nor the muxer's.
  void muxerStop() SERVICEMUX_EXCLUDES(streamListMutex, consumerMutex);

  /// The counts so far. Each is exact, but they are not read in one instant. Any thread, no lock.
  [[nodiscard]] MuxerStatistics statistics() const;

 private:
  VBRmuxer(std::unique_ptr<DatagramSink> own, DatagramSink* handedIn, unsigned int bitrate,
           unsigned int packetsPerDatagram);

  friend class muxed_stream;  // streams come and go by themselves

  using Clock = boost::chrono::steady_clock;
  using time_point = Clock::time_point;
  using StreamList =
      boost::intrusive::list<muxed_stream, boost::intrusive::base_hook<muxed_stream_hook>,
                             boost::intrusive::constant_time_size<true>, boost::intrusive::size_type<unsigned int>>;

  /// A count with one writer: a plain load and store instead of a locked addition.
  class Counter {
   public:
    void add(std::uint64_t n) { value.store(get() + n, std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t get() const { return value.load(std::memory_order_relaxed); }

   private:
    std::atomic<std::uint64_t> value{0};
  };

  class CallerLock;
  class Watchdog;

  void link(muxed_stream& stream) SERVICEMUX_EXCLUDES(streamListMutex);
  void unlink(muxed_stream& stream) SERVICEMUX_EXCLUDES(streamListMutex);
  void announce(muxed_stream& stream, PacedTable& table) SERVICEMUX_EXCLUDES(streamListMutex);
  void announcePeriod(PacedTable& table) SERVICEMUX_EXCLUDES(streamListMutex);
  void withdraw(PacedTable& table) SERVICEMUX_EXCLUDES(streamListMutex);
  void wakeProducer() SERVICEMUX_EXCLUDES(streamListMutex);
  [[nodiscard]] SharedPids::Streams linkedOn(unsigned short pid) SERVICEMUX_REQUIRES(streamListMutex);
  [[nodiscard]] SharedPids::Streams allLinked() SERVICEMUX_REQUIRES(streamListMutex);
  [[nodiscard]] SharedPids::Changes sharingChanges() SERVICEMUX_REQUIRES(streamListMutex);

  void produceClassic(Watchdog& watchdog);
  void letCallerIn(boost::unique_lock<boost::mutex>& lock) SERVICEMUX_REQUIRES(streamListMutex);
  bool waitForSlot(boost::unique_lock<boost::mutex>& lock, time_point slotClock)
      SERVICEMUX_REQUIRES(streamListMutex);
  void pollStreams(time_point& slotClock, time_point& earliestDue) SERVICEMUX_REQUIRES(streamListMutex);
  bool pollStream(muxed_stream& stream, time_point slotClock, time_point& earliestDue)
      SERVICEMUX_REQUIRES(streamListMutex);
  void overwrite(unsigned int slot);
  void idleUntil(time_point& slotClock, time_point earliestDue);
  [[nodiscard]] boost::chrono::nanoseconds slotInterval() const;
  [[nodiscard]] bool ringFull() const;

  void endDeadlines(time_point sent) SERVICEMUX_EXCLUDES(streamListMutex);
  void produceStandards(Watchdog& watchdog);
  void takeOver() SERVICEMUX_EXCLUDES(streamListMutex);
  void beginDeadlines() SERVICEMUX_EXCLUDES(streamListMutex);
  [[nodiscard]] boost::chrono::nanoseconds classicAhead() const SERVICEMUX_REQUIRES(streamListMutex);
  bool chooseDatagrams(time_point sent) SERVICEMUX_EXCLUDES(streamListMutex);
  void putOnAir(muxed_stream& stream, time_point now) SERVICEMUX_REQUIRES(streamListMutex);
  void adoptSettings(time_point now) SERVICEMUX_REQUIRES(streamListMutex);
  void publishFit() SERVICEMUX_REQUIRES(streamListMutex);
  void sendBatch();

  bool waitForPackets(bool& flushPending);
  void gather(std::vector<char>& datagram, std::size_t& fill);
  bool takePacket(char* to);
  void nothingHeld();
  void send(const void* datagram, std::size_t size);
  void countSent(std::size_t size);

  // Constant after construction.
  const unsigned int packetsPerDatagram;

  StreamList streams SERVICEMUX_GUARDED_BY(streamListMutex);
  SharedPids shared SERVICEMUX_GUARDED_BY(streamListMutex);

  // Written by SetBitrate. With the classic timing the producer reads the interval for every packet, with that of
  // the standards the bitrate for every datagram.
  std::atomic<unsigned int> bitrate;         // kbit/s
  std::atomic<unsigned int> packetInterval;  // ns

  std::atomic<TimingProfile> profile{TimingProfile::Classic};
  std::atomic<unsigned int> datagramWait{20};  // ms

  // Constant after construction.
  const std::unique_ptr<DatagramSink> ownSink;  // for a muxer that was given a socket
  DatagramSink& sink;

  boost::mutex streamListMutex SERVICEMUX_ACQUIRED_BEFORE(consumerMutex);
  boost::condition_variable producerCondition;  // with streamListMutex
  std::atomic<bool> reschedule{true};
  std::atomic<unsigned int> callersWaiting{0};  // raised before a caller locks streamListMutex, lowered under it
  std::atomic<bool> callersTurn{false};         // changed under streamListMutex

  // The pacing of the standards: of all that is linked while `isPaced`, else empty.
  StandardsPace pace SERVICEMUX_GUARDED_BY(streamListMutex);
  bool isPaced SERVICEMUX_GUARDED_BY(streamListMutex) = false;
  std::atomic<double> required{0};  // kbit/s
  std::atomic<double> stretch{1};

  boost::condition_variable consumerCondition;  // with consumerMutex
  boost::condition_variable consumerIsDone;     // with consumerMutex; the producer waits for it to take over
  boost::mutex consumerMutex;

  // The ring has one writer and one reader. A slot is the writer's while `filled` is below the ring's size,
  // and the reader's from the increment of `filled` on; see overwrite for what happens past that.
  std::vector<pkt_t> ring;
  const unsigned int ringMask;
  std::vector<std::atomic<bool>> unread;  // for each slot, whether its packet is still to be copied by the consumer
  std::atomic<unsigned int> filled{0};
  unsigned int readIndex = 0;   // consumer only, free running
  unsigned int writeIndex = 0;  // producer only, free running

  std::atomic<bool> flush{false};          // raised under consumerMutex
  std::atomic<bool> consumerHolds{false};  // whether the consumer has packets that it has not sent
  std::atomic<bool> stop{false};           // set under both mutexes, so that no waiter misses it

  // The slots that the two threads hold at this moment, kNoSlot for none; only they settle who gives way when the
  // ring overruns.
  static constexpr unsigned int kNoSlot = ~0U;
  std::atomic<unsigned int> slotBeingRead{kNoSlot};
  std::atomic<unsigned int> slotBeingOverwritten{kNoSlot};

  // Producer only.
  pkt_t spare{};  // takes what a stream writes while the ring is full
  Batch batch;
  unsigned int pacedBitrate = 0;  // kbit/s; what the pacing knows
  unsigned int pacedWait = 0;     // ms
  Counter packets;
  Counter ringFullSlots;
  Counter packetsOverrun;
  // Of whoever sends: the consumer with the classic timing, the producer with that of the standards.
  Counter datagrams;
  Counter bytesSent;
  Counter sendErrors;
};

}  // namespace vantor
