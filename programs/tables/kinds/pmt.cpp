#include "programs/tables/kinds/pmt.h"

#include "interface/checks/programMapPid.h"
#include "interface/converters/t2dPMT.h"
#include "programs/tables/descriptors/descriptors.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/TableListKind.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/kinds/programPids.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::PMT;
using thrift::dvb_tables::PMTStream;

constexpr std::size_t kProgramInfo = 2;  // offset of its length, behind PCR_PID

/// A PMT that says so is one of ATSC's, and so are all beside its guide.
Family familyOf(const PMT& pmt, const TableSet& set) {
  const bool hasGuide = set.mgt || set.terrestrialVct || set.cableVct;
  return isRegisteredByAtsc(pmt.descriptors) || (hasGuide && !set.sdtActual) ? Family::kAtsc : Family::kDvb;
}

OrderedJson writeMap(const ProgramMap& map, Family family) {
  const PMT& pmt = map.pmt;
  OrderedJson json{{"program_number", pmt.program_number}};
  if (map.pid) json["pid"] = pidText(*map.pid);
  json["pcr_pid"] = pidText(pmt.pcr_pid);
  writeVersion(pmt, json);
  writeDescriptors(pmt.descriptors, json, family);
  auto& streams = json["streams"] = OrderedJson::array();
  for (const auto& stream : pmt.streams) {
    OrderedJson to{{"stream_type", stream.stream_type}, {"elementary_pid", pidText(stream.elementary_pid)}};
    writeDescriptors(stream.descriptors, to, family);
    streams.push_back(std::move(to));
  }
  return json;
}

class PmtKind : public TableListKind<ProgramMap, &TableSet::pmts> {
 public:
  using TableListKind::TableListKind;

  const char* key() const override { return "pmts"; }

  void read(const JsonValue& value, UtcTime now, TableSet& set) const override {
    TableListKind::read(value, now, set);
    InputErrors errors;
    for (std::size_t i = 0; i < value.size(); ++i)
      if (value.at(i).optional("pid")) errors.gather([&] { checkPid(value.at(i), set); });
    errors.throwIfAny();
  }

  /// PIDs are held against those of the PAT, which may stand behind.
  std::unique_ptr<ElementReader> elements(UtcTime /*now*/) const override { return nullptr; }

  bool isWellFormed(const Section& section) const override {
    const std::string_view payload = section.payload();
    if (section.extension() == 0 || section.lastNumber() != 0) return false;  // clause 2.4.4.9
    if (section.bytes().size() > kMaxSectionSize || payload.size() < kPmtHead) return false;
    std::string_view rest = payload.substr(kProgramInfo);
    const std::size_t length = loopLength(rest, 0);
    return length + 2 <= rest.size() && holdsDescriptors(takeLoop(rest)) && holdsItems(rest, kPmtStreamHead);
  }
  SubtableKey keyOf(const Section& section, int pid) const override {
    return {{section.tableId(), section.extension(), 0, 0}, pid};
  }

  void takeOffAir(const Identity& identity, serviceMux& mux) const override {
    constexpr short kOnlyForTheLog = 0;
    mux.clearPMT(static_cast<short>(identity[0]), kOnlyForTheLog);
  }

 protected:
  Identity identityOf(const ProgramMap& map) const override { return {map.pmt.program_number}; }
  psi::TableKey tableKeyOf(const ProgramMap& map) const override { return tables::tableKeyOf(map); }
  std::int32_t placeOf(const ProgramMap& map) const override { return map.pid.value_or(0); }
  bool send(const ProgramMap& map, serviceMux& mux) const override {
    return map.pid && mux.newPMT(map.pmt, static_cast<short>(*map.pid)) >= 0;
  }

  std::vector<ProgramMap> readItems(const JsonValue& value, UtcTime /*now*/) const override {
    value.allowOnly(
        {"program_number", "pid", "pcr_pid", "version_number", "current_next_indicator", "descriptors", "streams"});
    ProgramMap map;
    PMT& pmt = map.pmt;
    pmt.program_number = static_cast<std::int32_t>(value.required("program_number").integer(1, INT32_MAX));
    if (const auto pid = value.optional("pid")) map.pid = readPid(*pid);
    readPid(value, "pcr_pid", pmt.pcr_pid);
    readVersion(value, pmt);
    pmt.descriptors = readDescriptors(value);
    const JsonValue streams = value.required("streams");
    for (std::size_t i = 0; i < streams.size(); ++i) pmt.streams.push_back(readStream(streams.at(i)));
    return {map};
  }

  OrderedJson writeItem(const ProgramMap& map, const TableSet& set) const override {
    return writeMap(map, familyOf(map.pmt, set));
  }

  ProgramMap decodeItem(const SubtableKey& key, const std::vector<Section>& sections) const override {
    const Section& section = sections.front();
    ProgramMap map;
    if (isProgramPid(key.pid)) map.pid = key.pid;
    PMT& pmt = map.pmt;
    pmt.program_number = section.extension();
    pmt.version_number = section.version();
    pmt.current_next_indicator = section.currentNext();
    std::string_view rest = section.payload();
    pmt.pcr_pid = pidAt(rest, 0);
    rest.remove_prefix(kProgramInfo);
    pmt.descriptors = descriptorsOf(takeLoop(rest));
    for (const LoopItem& item : itemsOf(rest, kPmtStreamHead)) {
      PMTStream& stream = pmt.streams.emplace_back();
      stream.stream_type = byteAt(item.head, 0);
      stream.elementary_pid = pidAt(item.head, 1);
      stream.descriptors = descriptorsOf(item.descriptors);
    }
    return map;
  }

 private:
  static void checkPid(const JsonValue& value, const TableSet& set) {
    ProgramMap map;
    readInteger(value, "program_number", map.pmt.program_number);
    readPid(value, "pid", map.pid.emplace());
    if (const std::string problem = settlePid(set, map); !problem.empty()) value.required("pid").fail(problem);
  }

  static PMTStream readStream(const JsonValue& value) {
    value.allowOnly({"stream_type", "elementary_pid", "descriptors"});
    PMTStream stream;
    readInteger(value, "stream_type", stream.stream_type);
    readPid(value, "elementary_pid", stream.elementary_pid);
    stream.descriptors = readDescriptors(value);
    return stream;
  }
};

}  // namespace

std::optional<Refusal> check(const ProgramMap& map) {
  auto refusal = map.pid ? checkProgramMapPid(*map.pid) : std::nullopt;
  return refusal ? refusal : check(map.pmt);
}

const TableKind& pmtKind() {
  static const PmtKind kind({&psi::kPmt});
  return kind;
}

}  // namespace vantor::tables
