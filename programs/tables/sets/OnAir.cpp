#include "programs/tables/sets/OnAir.h"

#include <algorithm>
#include <utility>

#include "interface/psi/section.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/kinds/masterGuide.h"
#include "programs/tables/kinds/mgt.h"

namespace vantor::tables {

namespace {

std::optional<std::int32_t> versionOf(const TableInSet& table) {
  return table.version == nullptr ? std::nullopt : std::optional(versionOnAir(*table.version));
}

std::int32_t versionAfter(std::int32_t version) { return (version + 1) % (kMaxVersion + 1); }

}  // namespace

OnAir::OnAir(TableSet set, serviceMux& mux, UtcTime now) : mux(mux) {
  const Replacement done = replace(std::move(set), now);
  if (!done.refused.empty()) throw InputError(done.refused + ": the table cannot be sent");
}

OnAir::Replacement OnAir::replace(TableSet next, UtcTime now) {
  Replacement done;
  const std::vector<Plan> plans = planFor(next, done.warnings);
  for (const Plan& plan : plans) takeOff(plan, done);
  changing = TableSet();
  sent.clear();
  for (const Plan& plan : plans) {
    put(plan, next, now, done);
    TableSet dropped;  // the library has it as packets, which take a fraction of the records' memory
    plan.kind->move(next, plan.kind->changesWithTime() ? changing : dropped);
    if (plan.kind->changesWithTime() && !plan.tables.empty()) sent[plan.kind] = now;
  }
  return done;
}

void OnAir::refresh(UtcTime now) {
  for (auto& [kind, then] : sent)
    if (kind->isOutdated(changing, then, now)) {
      for (std::size_t i = 0; i < kind->tablesIn(changing).size(); ++i) kind->putOnAir(changing, i, now, mux);
      then = now;
    }
}

/// The MGT has the versions of others, and is numbered when these are.
std::vector<OnAir::Plan> OnAir::planFor(TableSet& next, std::vector<std::string>& warnings) {
  std::vector<Plan> plans;
  Plan* masterGuide = nullptr;
  plans.reserve(allTableKinds().size());
  for (const TableKind* kind : allTableKinds()) {
    Plan& plan = plans.emplace_back(Plan{kind, {}});
    if (kind == &mgtKind())
      masterGuide = &plan;
    else
      plan.tables = number(*kind, next, warnings);
  }
  settleMasterGuide(next);
  masterGuide->tables = number(*masterGuide->kind, next, warnings);
  return plans;
}

/// Gives the tables of a kind the versions that they leave to us.
std::vector<TableInSet> OnAir::number(const TableKind& kind, TableSet& next, std::vector<std::string>& warnings) {
  std::vector<TableInSet> tables = kind.tablesIn(next);
  const States& states = known[&kind];
  for (std::size_t i = 0; i < tables.size(); ++i) {
    const TableInSet& table = tables[i];
    if (table.version == nullptr) continue;
    const State* const state = find(table.identity, states);
    const bool isSame = state != nullptr && state->content == table.content;
    if (*table.version == kAutoVersion) {
      if (state != nullptr)
        *table.version = isSame ? *state->version : versionAfter(*state->version);
      else
        *table.version = 0;
    } else if (state != nullptr && state->isOnAir && !isSame && state->version == versionOf(table)) {
      warnings.push_back(kind.nameOf(next, i) + ": changed under the same version_number " +
                         std::to_string(*table.version) + ", which receivers may not notice");
    }
  }
  return tables;
}

bool OnAir::isAsOnAir(const TableInSet& table, const State& state) {
  return state.isOnAir && state.content == table.content && state.version == versionOf(table) &&
         state.place == table.place;
}

const OnAir::State* OnAir::find(const TableInSet::Identity& identity, const States& states) {
  const auto found = std::lower_bound(states.begin(), states.end(), identity,
                                      [](const auto& entry, const auto& wanted) { return entry.first < wanted; });
  return found == states.end() || found->first != identity ? nullptr : &found->second;
}

/// Takes off what the set does not have any more, and what it has in another place.
void OnAir::takeOff(const Plan& plan, Replacement& done) {
  std::map<TableInSet::Identity, std::int32_t> places;
  for (const TableInSet& table : plan.tables) places.emplace(table.identity, table.place);
  for (auto& [identity, state] : known[plan.kind]) {
    const auto place = places.find(identity);
    const bool isGone = place == places.end();
    if (state.isOnAir && (isGone || place->second != state.place)) plan.kind->takeOffAir(identity, mux);
    if (isGone && state.isOnAir) ++done.removed;
    if (isGone) state.isOnAir = false;
  }
}

void OnAir::put(const Plan& plan, const TableSet& next, UtcTime now, Replacement& done) {
  const States& before = known[plan.kind];
  States after;
  after.reserve(plan.tables.size());
  for (std::size_t i = 0; i < plan.tables.size(); ++i) {
    const TableInSet& table = plan.tables[i];
    const State* const state = find(table.identity, before);
    if (state == nullptr || !isAsOnAir(table, *state)) {
      if (plan.kind->putOnAir(next, i, now, mux)) {
        ++(state != nullptr && state->isOnAir ? done.changed : done.added);
        after.push_back({table.identity, {table.content, versionOf(table), table.place, true}});
        continue;
      }
      if (done.refused.empty() && !plan.kind->mayHaveToWait()) done.refused = plan.kind->nameOf(next, i);
    }
    if (state != nullptr) after.push_back({table.identity, *state});
  }
  // Of what has gone only a version has to be remembered.
  for (const auto& entry : before)
    if (!entry.second.isOnAir && entry.second.version) after.push_back(entry);
  std::stable_sort(after.begin(), after.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  after.erase(
      std::unique(after.begin(), after.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
      after.end());
  known[plan.kind] = std::move(after);
}

}  // namespace vantor::tables
