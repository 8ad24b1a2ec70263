#include "programs/tables/review/needs.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <thread>
#include <tuple>

#include "interface/psi/packet.h"
#include "interface/psi/section.h"
#include "programs/tables/sets/OnAir.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

constexpr unsigned int kBitsPerByte = 8;
constexpr unsigned int kProbePeriod = 60000;  // ms

/// Takes everything and keeps nothing.
class Nowhere : public DatagramSink {
 public:
  ssize_t send(const void* /*datagram*/, std::size_t size) override { return static_cast<ssize_t>(size); }
};

/// Waits until the output's thread has taken the timing on, which nothing tells but what it reckons with. From then
/// on every table counts as soon as it is on air.
void awaitTiming(serviceMux& mux) {
  mux.newNULLPkts(kProbePeriod);
  while (mux.statistics().required == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  mux.clearNULLPkts();
}

std::vector<PidNeed> byPid(std::vector<TableOnAir> tables) {
  std::map<unsigned short, std::vector<TableOnAir>> pids;
  for (TableOnAir& table : tables) pids[table.pid].push_back(std::move(table));
  std::vector<PidNeed> needs;
  for (auto& [pid, own] : pids) {
    double kbps = 0;
    for (const TableOnAir& table : own) kbps += kbpsOf(table);
    needs.push_back({pid, std::move(own), kbps});
  }
  return needs;
}

/// Sections that keep apart from one another, and the shortest period of their tables.
struct Row {
  std::string name;
  unsigned int sections = 0;
  unsigned int period = 0;
};

}  // namespace

double kbpsOf(const TableOnAir& table) {
  return table.period == 0 ? 0 : static_cast<double>(table.packets * kPacketSize * kBitsPerByte) / table.period;
}

Needs needsOf(TableSet set, const InsertionPeriods& periods, unsigned int ceiling) {
  serviceMux mux("check", std::make_shared<Nowhere>(), "");
  mux.setBitrate(ceiling);
  mux.setTimingProfile(TimingProfile::Standards);
  awaitTiming(mux);
  mux.setInsertionPeriods(periods);
  const OnAir onAir(std::move(set), mux, std::chrono::system_clock::now());
  Needs needs;
  needs.pids = byPid(mux.tablesOnAir());
  for (const PidNeed& need : needs.pids) needs.kbps += need.kbps;
  needs.statistics = mux.statistics();
  return needs;
}

std::vector<Finding> crowdedTablesIn(const Needs& needs) {
  std::map<std::tuple<unsigned short, std::uint8_t, std::uint16_t>, Row> rows;
  for (const PidNeed& need : needs.pids)
    for (const TableOnAir& table : need.tables) {
      if (table.table_id < 0 || table.period == 0) continue;
      Row& row = rows[{need.pid, table.key.table_id, table.key.extension}];
      if (row.name.empty()) row.name = table.name;
      row.sections += table.sections;
      row.period = row.period == 0 ? table.period : std::min(row.period, table.period);
    }
  std::vector<Finding> out;
  for (const auto& [key, row] : rows)
    if (row.sections * kSectionDistance > row.period)
      out.push_back({Severity::kWarning,
                     {},
                     row.name + ": " + std::to_string(row.sections) + " sections, " +
                         std::to_string(kSectionDistance) + " ms apart, take " +
                         std::to_string(row.sections * kSectionDistance) + " ms, the period is " +
                         std::to_string(row.period) + " ms"});
  return out;
}

}  // namespace vantor::tables
