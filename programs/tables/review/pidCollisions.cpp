#include <map>
#include <optional>
#include <string_view>

#include "interface/converters/t2dSections.h"
#include "interface/psi/descriptors.h"
#include "interface/psi/pids.h"
#include "programs/tables/descriptors/bytes.h"
#include "programs/tables/json/pidJson.h"
#include "programs/tables/kinds/SignallingPids.h"
#include "programs/tables/kinds/cat.h"
#include "programs/tables/kinds/conditionalAccess.h"
#include "programs/tables/kinds/mgt.h"
#include "programs/tables/kinds/programPids.h"
#include "programs/tables/kinds/sections.h"
#include "programs/tables/review/collisions.h"
#include "programs/tables/review/places.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::Descriptor;

constexpr std::int32_t kFirstPidOfAtsc = 0x0010;  // ISO/IEC 13818-1 table 2-3 reserves those below
constexpr std::size_t kCaPidInPayload = 2;        // ISO/IEC 13818-1 clause 2.6.16
constexpr std::int32_t kFirstUserPrivate = 0x80;  // stream_types that may be anything, ISO/IEC 13818-1 table 2-34

/// What a PID is used for. One PID has one role, only that a PCR may lie in a stream, and that whole sections may
/// be anywhere but in a stream that is not made of sections.
enum class Role { kPmt, kStream, kPcr, kEcm, kEmm, kPsip, kSections };

const char* roleName(Role role) {
  switch (role) {
    case Role::kPmt:
      return "PMT";
    case Role::kStream:
      return "elementary stream";
    case Role::kPcr:
      return "PCR";
    case Role::kEcm:
      return "ECMs";
    case Role::kEmm:
      return "EMMs";
    case Role::kPsip:
      return "ATSC table";
    case Role::kSections:
      return "whole sections";
  }
  return "";
}

struct Use {
  Role role;
  std::string owner;  ///< "PMT 101"; empty for the multiplex
  TablePlace place;
  std::int32_t streamType = 0;
};

std::string textOf(const Use& use) { return roleName(use.role) + (use.owner.empty() ? "" : " of " + use.owner); }

using Uses = std::map<std::int32_t, std::vector<Use>>;

void addCaPids(const std::vector<Descriptor>& descriptors, const Use& use, const std::string& way, Uses& uses) {
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    const Descriptor& descriptor = descriptors[i];
    if (descriptor.tag != kCaDescriptorTag || descriptor.data.size() < kCaPidInPayload + 2) continue;
    Use own = use;
    own.place.rest += way + "/descriptors/" + std::to_string(i);
    uses[pidAt(descriptor.data, kCaPidInPayload)].push_back(own);
  }
}

void addProgram(const ProgramMap& map, Uses& uses) {
  const std::string owner = tables::nameOf(map);
  if (map.pid) uses[*map.pid].push_back({Role::kPmt, owner, placeOf(map, "/pid")});
  if (map.pmt.pcr_pid != kNullPid) uses[map.pmt.pcr_pid].push_back({Role::kPcr, owner, placeOf(map, "/pcr_pid")});
  const Use ecm{Role::kEcm, owner, placeOf(map)};
  addCaPids(map.pmt.descriptors, ecm, "", uses);
  for (std::size_t i = 0; i < map.pmt.streams.size(); ++i) {
    const auto& stream = map.pmt.streams[i];
    const std::string way = "/streams/" + std::to_string(i);
    uses[stream.elementary_pid].push_back(
        {Role::kStream, owner, placeOf(map, way + "/elementary_pid"), stream.stream_type});
    addCaPids(stream.descriptors, ecm, way, uses);
  }
}

void addMessages(const TableSet& set, Uses& uses) {
  if (set.cat)
    addCaPids(set.cat->descriptors, {Role::kEmm, "CAT", {catKind().path(), Json::object(), ""}}, "", uses);
  if (!set.conditionalAccess) return;
  const TablePlace place{conditionalAccessKind().path(), Json::object(), ""};
  for (const auto& [usid, pids] : set.conditionalAccess->config.ecm_pids)
    for (const std::int32_t pid : pids) uses[pid].push_back({Role::kEcm, "", place});
  for (const auto& [usid, pids] : set.conditionalAccess->config.emm_pids)
    for (const std::int32_t pid : pids) uses[pid].push_back({Role::kEmm, "", place});
}

void addGuide(const TableSet& set, Uses& uses) {
  if (!set.mgt) return;
  for (std::size_t i = 0; i < set.mgt->tables.size(); ++i)
    uses[set.mgt->tables[i].table_type_pid].push_back(
        {Role::kPsip, "", {mgtKind().path(), Json::object(), "/tables/" + std::to_string(i)}});
}

void addSections(const TableSet& set, Uses& uses) {
  for (const auto& sections : set.sections) {
    const psi::TableKey key = thrift::dvb_tables::tableKeyOf(sections);
    const Json ids{{"pid", sections.pid}, {"table_id", key.table_id}, {"table_id_extension", key.extension}};
    uses[sections.pid].push_back({Role::kSections, psi::tableName(key), {sectionsKind().path(), ids, "/pid"}});
  }
}

Uses usesIn(const TableSet& set) {
  Uses uses;
  for (const ProgramMap& map : set.pmts) addProgram(map, uses);
  addMessages(set, uses);
  addGuide(set, uses);
  addSections(set, uses);
  return uses;
}

bool isOfAtsc(const TableSet& set) { return set.mgt || set.terrestrialVct || set.cableVct || set.stt; }

bool isReserved(std::int32_t pid, const Use& use, const TableSet& set) {
  if (use.role == Role::kSections) return false;  // what is reserved is so for them
  if (pid == kPsipPid && isOfAtsc(set)) return use.role != Role::kPsip;
  const std::int32_t first = isOfAtsc(set) && !set.sdtActual ? kFirstPidOfAtsc : kFirstProgramPid;
  return pid < first || pid == kNullPid;
}

bool mayHaveSections(const Use& use) {
  return use.role != Role::kStream || use.streamType >= kFirstUserPrivate ||
         carriesSections(static_cast<std::int16_t>(use.streamType));
}

bool mayShare(const Use& a, const Use& b) {
  if (a.role == Role::kSections) return mayHaveSections(b);
  if (b.role == Role::kSections) return mayHaveSections(a);
  return a.role == b.role || (a.role == Role::kStream && b.role == Role::kPcr) ||
         (a.role == Role::kPcr && b.role == Role::kStream);
}

/// What is wrong with a later use of a PID, beside an earlier one.
std::optional<Severity> collisionOf(const Use& earlier, const Use& later) {
  if (!mayShare(earlier, later)) return Severity::kError;
  if (earlier.role != Role::kStream || later.role != Role::kStream) return std::nullopt;
  const bool isShared = earlier.owner != later.owner && earlier.streamType == later.streamType;
  return isShared ? Severity::kWarning : Severity::kError;
}

/// Against the first one that it collides with.
void findCollision(std::int32_t pid, const std::vector<Use>& uses, std::size_t later, std::vector<Finding>& out) {
  for (std::size_t earlier = 0; earlier < later; ++earlier) {
    const auto severity = collisionOf(uses[earlier], uses[later]);
    if (!severity) continue;
    const char* const how = *severity == Severity::kWarning ? ", shared with the " : " on that of the ";
    out.push_back({*severity, uses[later].place,
                   "PID " + pidText(pid) + ": " + textOf(uses[later]) + how + textOf(uses[earlier])});
    return;
  }
}

void findNetworkPid(const TableSet& set, std::vector<Finding>& out) {
  if (!set.pat) return;
  for (std::size_t i = 0; i < set.pat->programs.size(); ++i) {
    const auto& program = set.pat->programs[i];
    if (program.program_number == 0 && program.pid != kNitPid)
      out.push_back({Severity::kError, placeInPat(i),
                     "program 0, the network PID, is " + pidText(program.pid) + " and not " + pidText(kNitPid)});
  }
}

}  // namespace

std::vector<Finding> pidCollisionsIn(const TableSet& set) {
  std::vector<Finding> out;
  findNetworkPid(set, out);
  for (const auto& [pid, uses] : usesIn(set))
    for (std::size_t i = 0; i < uses.size(); ++i) {
      if (isReserved(pid, uses[i], set))
        out.push_back({Severity::kError, uses[i].place,
                       "PID " + pidText(pid) + ": " + textOf(uses[i]) + " on a reserved PID"});
      findCollision(pid, uses, i, out);
    }
  return out;
}

}  // namespace vantor::tables
