#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <queue>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tests/servicemux/standards/CeilingWindow.h"
#include "tests/servicemux/standards/SectionAssembly.h"

/// Watches what an output sends and names every limit that is not held. It is told what is on air, each datagram
/// and when it left, and knows nothing of how the output decides. Times are ns since any beginning; they never run
/// back.
///
/// What a datagram carries arrives at its time. While the judge does not watch, only counters count.
class LimitJudge {
 public:
  enum class Rule {
    kArrival,   ///< a section comes again within its table's period; within three times that, and what the longest
                ///< section takes at the ceiling, when it is stretched
    kGap,       ///< 25 ms from the end of a section to the next one of the same PID, table_id and extension
    kCounter,   ///< one continuity counter a PID
    kSection,   ///< a section is whole, not interleaved with another, and its CRC_32 is right
    kSpread,    ///< a PID of less than 1 Mbit/s leaves at less than 1 Mbit/s over any three packets
    kCeiling,   ///< over any second no more than the ceiling leaves
    kChange,    ///< what is put on air begins within 25 ms of its PID's being free
    kOnAir,     ///< what begins is on air
    kUtc,       ///< a time leaves within 100 ms of the second that it carries
    kInterval,  ///< the mean interval of a section is at least 0.9 of its table's period
    kStretch,   ///< with stretched periods, it is within 2 % of the stretched period
  };
  static const char* name(Rule rule);

  /// What is granted beyond the limits.
  struct Allowances {
    double shortestMean = 0.9;      ///< part of the period
    std::int64_t timeLateness = 0;  ///< ns that TDT, TOT and STT may come late, which go by the UTC second
    std::int64_t change = 0;        ///< ns that what is put on air may begin late
    unsigned int changeSlots = 0;   ///< likewise, in packet slots of the ceiling for each packet put on air
    bool slotTime = false;          ///< the packets of a datagram may stand one packet slot of the ceiling apart
    std::size_t ceilingBytes = 0;   ///< that a second may have above the ceiling
  };

  struct Key {
    std::uint16_t pid = 0;
    std::uint8_t table_id = 0;
    std::uint16_t extension = 0;
    std::uint16_t transport_stream_id = 0;  ///< of SDTs and EITs
    std::uint16_t original_network_id = 0;  ///< likewise
    bool operator==(const Key& other) const;
  };

  /// A table on air; its sections have the numbers from 0 on.
  struct Table {
    Key key;
    int version = -1;  ///< -1 for what has none
    unsigned int sections = 1;
    unsigned int packets = 1;
    std::int64_t period = 1;
  };

  struct Fault {
    Rule rule;
    std::int64_t time;
    std::string what;
  };

  explicit LimitJudge(const Allowances& allowances) : allowances(allowances) {}

  // What the output is told, at the same time.

  void setCeiling(std::int64_t now, unsigned int kbps);
  /// Puts a table on air, or another version in its place, or changes its period.
  void put(std::int64_t now, const Table& table);
  void remove(std::int64_t now, const Key& key);
  /// A PID whose messages are sent once.
  void sendOnce(std::uint16_t pid) { sentOnce.insert(pid); }
  /// All periods are so many times as long from now on.
  void setStretch(std::int64_t now, double factor);
  /// Begins to watch, with everything on air as if it had just arrived, or ends it.
  void watch(std::int64_t now, bool all);

  // What the output does.

  /// `utc` in ns since 1970.
  void take(std::int64_t now, std::int64_t utc, const void* datagram, std::size_t size);
  /// So much time has passed.
  void pass(std::int64_t now);
  /// The UTC clock has jumped: the tables that go by it may miss one second.
  void moveUtc(std::int64_t now);
  /// No more will come.
  void finish(std::int64_t now);

  // What it found.

  [[nodiscard]] std::uint64_t count(Rule rule) const { return counts[static_cast<std::size_t>(rule)]; }
  [[nodiscard]] std::uint64_t count() const;
  /// The first ones of each rule.
  [[nodiscard]] const std::vector<Fault>& faults() const { return found; }
  /// They and the counts, for people.
  [[nodiscard]] std::string report() const;
  [[nodiscard]] std::uint64_t packets() const { return packetCount; }

 private:
  static constexpr std::size_t kRules = static_cast<std::size_t>(Rule::kStretch) + 1;
  static constexpr std::int64_t kNever = INT64_MIN / 4;

  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };

  /// One section of a table that is on air.
  struct Section {
    std::int64_t last = 0;  // arrival, or when it was put on air
    std::int64_t deadline = 0;
    std::int64_t queued = kNever;  // under which deadline it stands in the queue
    bool counting = false;         // whether the interval from `last` on counts
    std::int64_t intervals = 0;
    std::int64_t sum = 0;
  };

  /// A table that is or was on air.
  struct OnAir {
    Table table;
    std::vector<Section> sections;
    bool isOnAir = false;
    std::int64_t* end = nullptr;  // of the last section of its PID, table_id and extension
  };

  /// A table that was put on air and has not begun.
  struct Change {
    OnAir* table;
    std::int64_t since;    // the PID is free since
    std::int64_t packets;  // that are put on air with it, or on their way
    bool waits;            // for a section under way
  };

  /// Where a packet stands: when its datagram left and how far behind that its slot is.
  struct Place {
    std::int64_t datagram = kNever;
    std::int64_t offset = 0;
  };

  struct Pid {
    SectionAssembly assembly;
    int counter = -1;
    Place before;  // of the last packet but one
    Place last;
    double packetsPerSecond = 0;  // that its tables ask for
    OnAir* underWay = nullptr;    // the table of the section that began last, null when it is not judged
  };

  struct Due {
    std::int64_t deadline;
    OnAir* table;
    std::size_t section;
    bool operator<(const Due& other) const { return deadline > other.deadline; }
  };

  void takePacket(std::int64_t now, std::int64_t offset, std::int64_t utc, const unsigned char* packet);
  void judgeCounter(std::int64_t now, std::uint16_t pid, const unsigned char* packet);
  void judgeSpread(std::int64_t now, std::int64_t offset, std::uint16_t pid);
  void begin(std::int64_t now, std::int64_t utc, std::uint16_t pid, const SectionHead& head,
             const unsigned char* packet);
  void judgeOnAir(std::int64_t now, OnAir& table, const SectionHead& head);
  void judgeGap(std::int64_t now, const Key& key, std::int64_t end);
  void settleChange(const OnAir& table, const SectionHead& head);
  void freeChanges(std::int64_t now, std::uint16_t pid);
  void judgeUtc(std::int64_t now, std::int64_t utc, std::uint8_t table_id, const unsigned char* section);
  void end(std::int64_t now, std::uint16_t pid, const SectionHead& head);
  void judgeDeadlines(std::int64_t now);
  void judgeChanges(std::int64_t now);
  void judgeIntervals(std::int64_t now, OnAir& table);
  void judgeMean(std::int64_t now, const Table& table, std::size_t number, const Section& section);

  void change(std::int64_t now, OnAir& table);
  void schedule(OnAir& table, std::size_t section, std::int64_t deadline);
  void reschedule(std::int64_t now, OnAir& table, std::size_t toSection);
  void startAnew(std::int64_t now, OnAir& table, std::size_t fromSection, std::int64_t grace);
  void ask(const OnAir& table, double sign);
  OnAir& tableOf(const Key& key);
  [[nodiscard]] std::int64_t period(const Table& table) const;
  [[nodiscard]] std::int64_t lateness(const Table& table) const;
  [[nodiscard]] std::int64_t slot() const;
  [[nodiscard]] std::int64_t grace(std::int64_t packets) const;
  [[nodiscard]] std::int64_t packetsOfChanges() const;
  void fault(Rule rule, std::int64_t now, const std::string& what);

  const Allowances allowances;
  bool watching = true;
  double stretch = 1;
  CeilingWindow ceiling;
  std::array<Pid, 0x2000> pids;
  std::unordered_set<std::uint16_t> sentOnce;
  std::unordered_map<Key, std::unique_ptr<OnAir>, KeyHash> tables;  // nothing leaves it
  std::unordered_map<Key, std::int64_t, KeyHash> ends;  // of the last section, by PID, table_id and extension
  std::priority_queue<Due> due;  // for each section one entry that counts, at its deadline or before
  std::vector<Change> changes;
  std::uint64_t packetCount = 0;
  std::array<std::uint64_t, kRules> counts{};
  std::vector<Fault> found;
};
