#include "programs/tables/review/differences.h"

#include <algorithm>
#include <map>
#include <set>

#include "interface/psi/tableTypes.h"
#include "programs/tables/json/pidJson.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/kinds/programPids.h"
#include "programs/tables/review/identity.h"
#include "programs/tables/sets/periodsJson.h"

namespace vantor::tables {

namespace {

constexpr const char* kDescriptors = "descriptors";
constexpr const char* kPeriodsName = "periods";

using Pair = std::pair<std::optional<std::size_t>, std::optional<std::size_t>>;

// ---- Names

std::uint16_t idIn(const Json& table, const char* field) {
  return static_cast<std::uint16_t>(table.value(field, std::int64_t{0}));
}

std::string nameOfEvents(const Json& table, const psi::TableType& actual, const psi::TableType& other) {
  const psi::TableType& type = table.value("actual", true) ? actual : other;
  const psi::TableKey key{type.firstTableId, idIn(table, "service_id"), idIn(table, "transport_stream_id"),
                          idIn(table, "original_network_id")};
  if (&actual == &psi::kEitPfActual) return psi::tableNameOfStream(key);
  // A whole schedule has many table_ids.
  const std::string part = table.contains("table_id") ? " of table_id " + table["table_id"].dump() : "";
  return type.name + (" " + std::to_string(key.extension)) + " of " + std::to_string(key.transport_stream_id) +
         "/" + std::to_string(key.original_network_id) + part;
}

/// "program_number 101", for kinds that have no better name.
std::string nameByIds(const std::string& key, const Json& table) {
  std::string name = key;
  const Json ids = identityOf(key, table);
  for (const auto& [field, value] : ids.items()) name += " " + field + " " + value.dump();
  return name;
}

/// With the PID: the table can be on others too, and among those with fields of their own.
std::string nameOfSections(const std::string& key, const Json& table) {
  const Json ids = identityOf(key, table);
  return psi::tableName({static_cast<std::uint8_t>(idIn(ids, "table_id")), idIn(ids, "table_id_extension"), 0, 0}) +
         " on PID " + pidText(readPid(JsonValue(ids["pid"])));
}

std::string nameOfSingle(const std::string& path) {
  static const std::map<std::string, std::string> names{
      {"/pat", psi::kPat.name},
      {"/cat", psi::kCat.name},
      {"/nit", psi::kNitActual.name},
      {"/sdt_actual", psi::kSdtActual.name},
      {"/time", std::string(psi::kTdt.name) + " and " + psi::kTot.name},
      {"/atsc/mgt", psi::kMgt.name},
      {"/atsc/tvct", psi::kTerrestrialVct.name},
      {"/atsc/cvct", psi::kCableVct.name},
      {"/atsc/stt", psi::kStt.name},
      {"/conditional_access", "conditional access"},
  };
  const auto found = names.find(path);
  return found == names.end() ? path.substr(1) : found->second;
}

std::string nameOfElement(const std::string& key, const Json& table) {
  if (key == "pmts") return psi::tableName({kPmtTableId, idIn(table, "program_number"), 0, 0});
  if (key == "sdt_others")
    return psi::tableName({kSdtOtherTableId, idIn(table, "transport_stream_id"), idIn(table, "transport_stream_id"),
                           idIn(table, "original_network_id")});
  if (key == "nit_others") return psi::tableName({kNitOtherTableId, idIn(table, "network_id"), 0, 0});
  if (key == "bats") return psi::tableName({kBatTableId, idIn(table, "bouquet_id"), 0, 0});
  if (key == "sections") return nameOfSections(key, table);
  if (key == "eit_pf") return nameOfEvents(table, psi::kEitPfActual, psi::kEitPfOther);
  if (key == "eit_schedule") return nameOfEvents(table, psi::kEitScheduleActual, psi::kEitScheduleOther);
  return nameByIds(key, table);
}

// ---- Which element is which

/// What an element of an array is known by, no two of them the same.
std::vector<std::string> keysOf(const std::string& array, const Json& list) {
  std::vector<std::string> keys;
  std::map<std::string, int> seen;
  for (const Json& element : list) {
    std::string key = identityOf(array, element).dump();
    if (array == kDescriptors && element.is_object() && !element.empty())
      key = element.contains("tag") ? element["tag"].dump() : element.begin().key();
    keys.push_back(key + "#" + std::to_string(seen[key]++));
  }
  return keys;
}

/// Elements that are left on both sides stand for one another where they stand at one place.
void joinLeftOvers(std::vector<Pair>& pairs) {
  for (Pair& removed : pairs) {
    if (!removed.first || removed.second) continue;
    const auto added = std::find(pairs.begin(), pairs.end(), Pair{std::nullopt, removed.first});
    if (added == pairs.end()) continue;
    removed.second = added->second;
    added->second.reset();
  }
  pairs.erase(std::remove(pairs.begin(), pairs.end(), Pair{}), pairs.end());
}

/// The elements that are one and the same, by their indices.
std::vector<Pair> matched(const std::string& array, const Json& before, const Json& after) {
  const std::vector<std::string> keys = keysOf(array, before);
  std::map<std::string, std::size_t> indices;
  for (std::size_t i = 0; i < keys.size(); ++i) indices[keys[i]] = i;
  std::vector<Pair> pairs;
  for (std::size_t i = 0; i < keys.size(); ++i) pairs.emplace_back(i, std::nullopt);
  const std::vector<std::string> keysAfter = keysOf(array, after);
  for (std::size_t i = 0; i < keysAfter.size(); ++i) {
    const auto same = indices.find(keysAfter[i]);
    if (same == indices.end())
      pairs.emplace_back(std::nullopt, i);
    else
      pairs[same->second].second = i;
  }
  return pairs;
}

// ---- What is different

/// Of one table.
class Comparison {
 public:
  Comparison(std::string table, std::vector<Difference>& out) : table(std::move(table)), out(out) {}

  void compare(const Json& before, const Json& after, const std::string& field, const std::string& name) {
    if (before == after) return;
    if (before.is_object() && after.is_object())
      compareFields(before, after, field);
    else if (before.is_array() && after.is_array())
      compareElements(before, after, field, name);
    else
      out.push_back({table, field, before, after});
  }

 private:
  void compareFields(const Json& before, const Json& after, const std::string& field) {
    for (const auto& [name, value] : before.items()) {
      const auto other = after.find(name);
      if (other == after.end())
        out.push_back({table, field + "/" + name, value, std::nullopt});
      else
        compare(value, *other, field + "/" + name, name);
    }
    for (const auto& [name, value] : after.items())
      if (!before.contains(name)) out.push_back({table, field + "/" + name, std::nullopt, value});
  }

  void compareElements(const Json& before, const Json& after, const std::string& field, const std::string& name) {
    std::vector<Pair> pairs = matched(name, before, after);
    joinLeftOvers(pairs);
    for (const auto& [first, second] : pairs) {
      const std::string place = field + "/" + std::to_string(first ? *first : *second);
      if (!second)
        out.push_back({table, place, before[*first], std::nullopt});
      else if (!first)
        out.push_back({table, place, std::nullopt, after[*second]});
      else
        compare(before[*first], after[*second], place, "");
    }
    compareOrder(before, after, field, name);
  }

  /// The same elements in another order are on air in another order too.
  void compareOrder(const Json& before, const Json& after, const std::string& field, const std::string& name) {
    const std::vector<std::string> first = keysOf(name, before);
    const std::vector<std::string> second = keysOf(name, after);
    if (first != second && std::multiset<std::string>(first.begin(), first.end()) ==
                               std::multiset<std::string>(second.begin(), second.end()))
      out.push_back({table, field, before, after});
  }

  const std::string table;
  std::vector<Difference>& out;
};

void compareSingle(const std::string& name, const Json* before, const Json* after, std::vector<Difference>& out) {
  if (before != nullptr && after != nullptr)
    Comparison(name, out).compare(*before, *after, "", "");
  else
    out.push_back({name, "", before == nullptr ? std::nullopt : std::optional(*before),
                   after == nullptr ? std::nullopt : std::optional(*after)});
}

void compareList(const std::string& key, const Json& before, const Json& after, std::vector<Difference>& out) {
  for (const auto& [first, second] : matched(key, before, after))
    compareSingle(nameOfElement(key, first ? before[*first] : after[*second]), first ? &before[*first] : nullptr,
                  second ? &after[*second] : nullptr, out);
}

void compareKind(const TableKind& kind, const TableSet& before, const TableSet& after,
                 std::vector<Difference>& out) {
  const Json first = kind.isIn(before) ? Json(kind.write(before)) : Json();
  const Json second = kind.isIn(after) ? Json(kind.write(after)) : Json();
  if (first.is_array() || second.is_array())
    compareList(kind.key(), first.is_null() ? Json::array() : first, second.is_null() ? Json::array() : second,
                out);
  else if (!first.is_null() || !second.is_null())
    compareSingle(nameOfSingle(kind.path()), first.is_null() ? nullptr : &first,
                  second.is_null() ? nullptr : &second, out);
}

}  // namespace

std::vector<Difference> differencesOf(const TableSet& before, const TableSet& after) {
  std::vector<Difference> out;
  for (const TableKind* kind : allTableKinds()) compareKind(*kind, before, after, out);
  Comparison(kPeriodsName, out).compare(writePeriods(before), writePeriods(after), "", kPeriodsName);
  return out;
}

}  // namespace vantor::tables
