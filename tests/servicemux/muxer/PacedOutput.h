#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "servicemux/muxer/StandardsPace.h"
#include "tests/servicemux/packets.h"

/// The pacing of the standards with a clock that the test drives, and streams whose packets tell what they are of.

using boost::chrono::microseconds;
using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;

/// Contents of a table, with what a packet of it says.
struct PacedContent : vantor::PacedTable {
  vantor::TableLayout layout;
  char table = 't';
  char version = 'a';
  bool hasPayload = true;
  std::deque<std::uint32_t> queue;  // packets of each section, of what is queued
};

/// A stream of any tables.
class PacedStream : public vantor::muxed_stream {
 public:
  explicit PacedStream(unsigned short pid, unsigned char initialCC = kNoCC)
      : muxed_stream(nullptr, pid, true, initialCC) {}
  ~PacedStream() override { unlinkFromMuxer(); }

  unsigned int getBitrate() override { return 0; }
  int get_packet(signed char*, time_point, time_point&) override { return 0; }
  void beginClassic(time_point) override {}

  vantor::TableLayout layoutOf(vantor::PacedTable& table) override {
    return static_cast<const PacedContent&>(table).layout;
  }

  bool takeSection(vantor::PacedTable& table, std::size_t section, time_point, std::string& packets) override {
    auto& content = static_cast<PacedContent&>(table);
    if (isRefusing) return false;
    std::uint32_t size = 0;
    if (content.layout.kind == vantor::TableLayout::Kind::kQueued) {
      if (content.queue.empty()) return false;
      size = content.queue.front();
      content.queue.pop_front();
    } else {
      size = content.layout.packets.at(section);
    }
    for (std::uint32_t i = 0; i < size; ++i) packets += packetOf(content, section, i, size);
    return true;
  }

  std::vector<vantor::PacedTable*> pacedTables() override { return {}; }

  bool isRefusing = false;

 private:
  std::string packetOf(const PacedContent& content, std::size_t section, std::uint32_t number,
                       std::uint32_t size) const {
    std::string packet = makePacket(packetPid(), 0);
    if (number == 0) packet[1] = static_cast<char>(byteAt(packet, 1) | vantor::kPayloadUnitStart);
    if (!content.hasPayload) packet[vantor::kContinuityOffset] = vantor::kAdaptationFieldFlag;
    packet[4] = content.table;
    packet[5] = content.version;
    packet[6] = static_cast<char>(section);
    packet[7] = static_cast<char>(number);
    packet[8] = static_cast<char>(size);
    return packet;
  }
};

/// What has been sent, packet by packet.
struct SentPacket {
  nanoseconds at;  // since the beginning
  std::size_t datagram;
  unsigned short pid;
  int counter;
  char table;
  char version;
  int section;
  int number;
  int size;

  [[nodiscard]] bool begins() const { return number == 0; }
  [[nodiscard]] bool ends() const { return number + 1 == size; }
};

class PacedOutput : public testing::Test {
 protected:
  using time_point = vantor::StandardsPace::time_point;
  using Kind = vantor::TableLayout::Kind;

  static constexpr unsigned short kPid = 0x100;
  static constexpr unsigned int kPlenty = 20000;  // kbit/s, which no test asks for

  /// Without waiting for others, unless a test wants that.
  PacedOutput() {
    pace.setDatagrams(nanoseconds::zero(), 7, start);
    pace.setCeiling(kPlenty, start);
  }
  /// The tables go before what they are in.
  ~PacedOutput() override { pace.clear(now()); }

  [[nodiscard]] time_point now() const { return start + passed; }

  PacedStream& stream(unsigned short pid = kPid, unsigned char initialCC = vantor::muxed_stream::kNoCC) {
    streams.push_back(std::make_unique<PacedStream>(pid, initialCC));
    return *streams.back();
  }

  /// A table with sections of so many packets each, not on air yet. Tables have an extension of their own, and
  /// their names are letters in turn.
  PacedContent& table(unsigned int period, std::vector<std::uint32_t> packets = {1}) {
    tables.push_back(std::make_unique<PacedContent>());
    PacedContent& made = *tables.back();
    made.table = static_cast<char>('A' + tables.size() - 1);
    made.layout.period = period;
    made.layout.hasSections = true;
    made.layout.key.table_id = 0x4F;
    made.layout.key.extension = static_cast<std::uint16_t>(tables.size());
    made.layout.packets = std::move(packets);
    return made;
  }

  /// The same on air.
  PacedContent& add(PacedStream& on, unsigned int period, std::vector<std::uint32_t> packets = {1}) {
    PacedContent& made = table(period, std::move(packets));
    pace.put(made, on, now());
    return made;
  }
  PacedContent& add(unsigned int period, std::vector<std::uint32_t> packets = {1}) {
    return add(stream(), period, std::move(packets));
  }

  /// Null packets that fill up what is left, or packets like them.
  PacedContent& addFiller(unsigned short pid = 0x1FFF, std::uint32_t packets = 1) {
    PacedContent& filler = table(0, {packets});
    filler.layout.kind = Kind::kFiller;
    filler.layout.hasSections = false;
    pace.put(filler, stream(pid), now());
    return filler;
  }

  /// A queue on air, one packet each `interval`.
  PacedContent& addQueue(nanoseconds interval, std::deque<std::uint32_t> sections) {
    PacedContent& queue = table(0, {1});
    queue.layout.kind = Kind::kQueued;
    queue.layout.hasSections = false;
    queue.queue = std::move(sections);
    queue.setInterval(interval);
    pace.put(queue, stream(), now());
    return queue;
  }

  void replace(PacedContent& table, PacedStream& on) {
    ++table.version;
    pace.put(table, on, now());
  }

  /// Sends all that leaves up to then. A datagram takes `sending` to leave.
  void runUntil(nanoseconds end) {
    int idle = 0;
    for (time_point next = pace.nextDeparture(); next <= start + end; next = pace.nextDeparture()) {
      passed = std::max(passed, nanoseconds(next - start));
      idle = depart() == 0 ? idle + 1 : 0;
      ASSERT_LT(idle, 100) << "it wakes up again and again and finds nothing, at " << passed.count();
    }
    passed = std::max(passed, end);
  }
  void run(nanoseconds time) { runUntil(passed + time); }

  std::size_t depart() {
    std::array<signed char, 7 * vantor::kPacketSize> bytes{};
    const std::size_t count = pace.choose(now(), ahead, bytes.data());
    EXPECT_LE(count, 7U);
    for (std::size_t i = 0; i < count; ++i) note(reinterpret_cast<const char*>(&bytes[i * vantor::kPacketSize]));
    if (count != 0) ++datagrams;
    pace.sentAt(now() + sending);
    return count;
  }

  /// The packets of one table, or of all of a PID.
  [[nodiscard]] std::vector<SentPacket> of(const PacedContent& table) const {
    return those([&](const SentPacket& packet) { return packet.table == table.table; });
  }
  [[nodiscard]] std::vector<SentPacket> on(unsigned short pid) const {
    return those([&](const SentPacket& packet) { return packet.pid == pid; });
  }
  [[nodiscard]] std::vector<SentPacket> those(const std::function<bool(const SentPacket&)>& which) const {
    std::vector<SentPacket> found;
    std::copy_if(sent.begin(), sent.end(), std::back_inserter(found), which);
    return found;
  }

  /// When the sections with a number arrived.
  [[nodiscard]] std::vector<nanoseconds> arrivals(const PacedContent& table, int section = 0) const {
    std::vector<nanoseconds> times;
    for (const SentPacket& packet : of(table))
      if (packet.section == section && packet.ends()) times.push_back(packet.at);
    return times;
  }

  /// From arrival to arrival.
  [[nodiscard]] std::vector<nanoseconds> intervals(const PacedContent& table, int section = 0) const {
    std::vector<nanoseconds> times = arrivals(table, section);
    for (std::size_t i = 0; i + 1 < times.size(); ++i) times[i] = times[i + 1] - times[i];
    if (!times.empty()) times.pop_back();
    return times;
  }

  /// Of the packets between two of a datagram's.
  [[nodiscard]] std::vector<std::size_t> sizes() const {
    std::vector<std::size_t> counts(datagrams, 0);
    for (const SentPacket& packet : sent) ++counts[packet.datagram];
    return counts;
  }

  const time_point start = time_point(seconds(1000));
  nanoseconds passed{0};
  nanoseconds ahead = milliseconds(2);
  nanoseconds sending{0};
  std::size_t datagrams = 0;
  std::vector<SentPacket> sent;
  std::vector<std::unique_ptr<PacedStream>> streams;
  std::vector<std::unique_ptr<PacedContent>> tables;
  vantor::StandardsPace pace;

 private:
  void note(const char* bytes) {
    const std::string packet(bytes, vantor::kPacketSize);
    sent.push_back({passed, datagrams, pidOf(packet), counterOf(packet), packet[4], packet[5], byteAt(packet, 6),
                    byteAt(packet, 7), byteAt(packet, 8)});
  }
};

/// Of a PID's packets: each has the counter behind that of the one before.
inline void expectUnbroken(const std::vector<SentPacket>& packets) {
  for (std::size_t i = 1; i < packets.size(); ++i)
    EXPECT_EQ(packets[i].counter, (packets[i - 1].counter + 1) % 16) << i;
}

/// Of a PID's packets: each section is sent whole before another one begins.
inline void expectWhole(const std::vector<SentPacket>& packets) {
  for (std::size_t i = 1; i < packets.size(); ++i) {
    if (packets[i].begins()) {
      EXPECT_TRUE(packets[i - 1].ends()) << i;
      continue;
    }
    EXPECT_EQ(packets[i].number, packets[i - 1].number + 1) << i;
    EXPECT_EQ(packets[i].table, packets[i - 1].table) << i;
    EXPECT_EQ(packets[i].version, packets[i - 1].version) << i;
    EXPECT_EQ(packets[i].section, packets[i - 1].section) << i;
  }
}
