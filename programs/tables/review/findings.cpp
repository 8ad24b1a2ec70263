#include "programs/tables/review/findings.h"

#include "interface/psi/section.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/review/collisions.h"
#include "programs/tables/review/identity.h"
#include "programs/tables/review/overlaps.h"
#include "programs/tables/review/references.h"
#include "programs/tables/sets/wholeSet.h"

namespace vantor::tables {

namespace {

void append(std::vector<Finding> findings, std::vector<Finding>& to) {
  for (Finding& finding : findings) to.push_back(std::move(finding));
}

void findVersion(const Json& table, TablePlace place, std::vector<Finding>& out) {
  const auto version = table.find("version_number");
  if (version == table.end() || !version->is_number_integer() || *version <= kMaxVersion) return;
  place.rest = "/version_number";
  out.push_back({Severity::kError, std::move(place),
                 std::to_string(version->get<std::int64_t>()) + " is above " + std::to_string(kMaxVersion)});
}

/// Of every kind of table, by its JSON.
std::vector<Finding> versionsIn(const TableSet& set) {
  std::vector<Finding> out;
  for (const TableKind* kind : allTableKinds()) {
    if (!kind->isIn(set)) continue;
    const Json json = kind->write(set);
    if (json.is_array())
      for (const Json& table : json) findVersion(table, {kind->path(), identityOf(kind->key(), table), ""}, out);
    else
      findVersion(json, {kind->path(), Json::object(), ""}, out);
  }
  return out;
}

}  // namespace

std::vector<Finding> findingsIn(const TableSet& set, TimingProfile timing) {
  std::vector<Finding> out;
  append(versionsIn(set), out);
  for (const std::string& warning : warningsOf(set, timing)) out.push_back({Severity::kWarning, {}, warning});
  append(duplicatesIn(set), out);
  append(pidCollisionsIn(set), out);
  append(brokenReferencesIn(set), out);
  append(overlapsIn(set), out);
  return out;
}

}  // namespace vantor::tables
