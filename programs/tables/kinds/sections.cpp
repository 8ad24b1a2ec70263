#include "programs/tables/kinds/sections.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "interface/converters/t2dSections.h"
#include "programs/tables/kinds/TableListKind.h"
#include "programs/tables/kinds/fields.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::Sections;

/// For tables of which no standard says how often they come.
constexpr unsigned int kUsualPeriod = 10000;  // ms

/// Where nothing else is said.
std::int32_t periodOf(std::uint8_t tableId) {
  const psi::TableType* const type = psi::tableTypeOf(tableId);
  return static_cast<std::int32_t>(type != nullptr && type->period != 0 ? type->period : kUsualPeriod);
}

/// The same, or longer for a table that takes longer with the distances that the timing of the standards keeps
/// between its sections and their packets: else it would stretch the periods of all tables.
std::int32_t periodFor(std::uint8_t tableId, const std::vector<std::string>& sections) {
  constexpr double kGap = 25.2;             // ms from section to section
  constexpr double kPacketInterval = 1.55;  // ms from packet to packet
  constexpr std::size_t kPacketRoom = 184;  // bytes
  constexpr double kReserve = 1.25;
  double time = 0;
  for (const std::string& section : sections) {
    const std::size_t furtherPackets = section.size() / kPacketRoom;
    time += kGap + kPacketInterval * static_cast<double>(furtherPackets);
  }
  const auto seconds = static_cast<std::int32_t>(std::ceil(time * kReserve / 1000));
  return time * kReserve > periodOf(tableId) ? seconds * 1000 : periodOf(tableId);
}

class SectionsKind : public TableListKind<Sections, &TableSet::sections> {
 public:
  SectionsKind() : TableListKind(Types()) {}

  const char* key() const override { return "sections"; }

  bool isWellFormed(const Section& /*section*/) const override { return true; }
  SubtableKey keyOf(const Section& section, int pid) const override {
    return {{section.tableId(), section.hasSyntax() ? section.extension() : std::uint16_t{0}, 0, 0}, pid};
  }
  bool sectionsStandAlone() const override { return true; }
  bool mayHaveToWait() const override { return true; }
  void takeOffAir(const Identity& identity, serviceMux& mux) const override {
    mux.clearSections(identity[0], identity[1], identity[2]);
  }

  using TableListKind::drop;
  using TableListKind::find;

  static Identity identityOf(const SubtableKey& key) { return {key.pid, key.table.table_id, key.table.extension}; }

 protected:
  Identity identityOf(const Sections& sections) const override {
    const psi::TableKey key = tableKeyOf(sections);
    return {sections.pid, key.table_id, key.extension};
  }
  psi::TableKey tableKeyOf(const Sections& sections) const override {
    return thrift::dvb_tables::tableKeyOf(sections);
  }
  bool send(const Sections& sections, serviceMux& mux) const override { return sendSections(sections, mux); }

  std::vector<Sections> readItems(const JsonValue& value, UtcTime /*now*/) const override {
    value.allowOnly({"pid", "period", "name", "sections"});
    Sections item;
    readPid(value, "pid", item.pid);
    const JsonValue list = value.required("sections");
    for (std::size_t i = 0; i < list.size(); ++i) item.sections.push_back(list.at(i).hexBytes(kLongestSection));
    if (!item.sections.empty() && !item.sections.front().empty())
      item.period = periodOf(byteAt(item.sections.front(), 0));
    readIntegerIfGiven(value, "period", item.period);
    if (const auto name = value.optional("name")) item.name = name->string();
    return {item};
  }

  OrderedJson writeItem(const Sections& item, const TableSet& /*set*/) const override {
    OrderedJson json{{"pid", pidText(item.pid)}};
    if (item.period != periodOf(byteAt(item.sections.front(), 0))) json["period"] = item.period;
    if (!item.name.empty()) json["name"] = item.name;
    auto& sections = json["sections"] = OrderedJson::array();
    for (const std::string& section : item.sections) sections.push_back(hexDigits(section));
    return json;
  }

  Sections decodeItem(const SubtableKey& key, const std::vector<Section>& sections) const override {
    Sections item;
    item.pid = key.pid;
    for (const Section& section : sections) item.sections.push_back(section.bytes());
    item.period = periodFor(key.table.table_id, item.sections);
    return item;
  }
};

const SectionsKind& kind() {
  static const SectionsKind kind;
  return kind;
}

}  // namespace

const TableKind& sectionsKind() { return kind(); }

void dropSections(const SubtableKey& key, TableSet& set) { kind().drop(SectionsKind::identityOf(key), set); }

bool hasSections(const SubtableKey& key, const TableSet& set) {
  return kind().find(SectionsKind::identityOf(key), set) != nullptr;
}

bool sendSections(const Sections& sections, serviceMux& mux) { return mux.newSections(sections) == 0; }

bool isMomentary(std::uint8_t tableId) {
  constexpr std::uint8_t kMomentary[] = {kTdtTableId, kRstTableId, kTotTableId, kDitTableId, kSpliceInfoTableId};
  return std::find(std::begin(kMomentary), std::end(kMomentary), tableId) != std::end(kMomentary);
}

}  // namespace vantor::tables
