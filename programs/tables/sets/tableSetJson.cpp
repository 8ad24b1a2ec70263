#include "programs/tables/sets/tableSetJson.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "interface/psi/section.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/sets/periodsJson.h"

namespace vantor::tables {

namespace {

constexpr const char* kPeriods = "periods";
constexpr const char* kSchema = "$schema";  // for editors

/// The fields that an object has: the table set itself, or one of its groups.
std::vector<const char*> fieldsOf(const std::string& group) {
  std::vector<const char*> fields;
  for (const TableKind* kind : allTableKinds())
    if (kind->group() == nullptr ? group.empty() : group == kind->group()) fields.push_back(kind->key());
  return fields;
}

void checkFields(const JsonValue& root) {
  std::vector<const char*> fields = fieldsOf("");
  for (const TableKind* kind : allTableKinds())
    if (kind->group() != nullptr) fields.push_back(kind->group());
  fields.push_back(kPeriods);
  fields.push_back(kSchema);
  root.allowOnly(fields);
  if (const auto schema = root.optional(kSchema)) schema->string();
  for (const TableKind* kind : allTableKinds()) {
    if (kind->group() == nullptr) continue;
    if (const auto group = root.optional(kind->group())) group->allowOnly(fieldsOf(kind->group()));
  }
}

/// The way to the first version_number that the wire has no room for; empty when there is none.
std::string pathOfHighVersion(const Json& json) {
  if (!json.is_structured()) return "";
  for (const auto& [name, value] : json.items()) {
    if (name == "version_number" && value.is_number_integer() && value > kMaxVersion) return "/" + name;
    if (const std::string path = pathOfHighVersion(value); !path.empty()) return "/" + name + path;
  }
  return "";
}

void refuseHighVersions(const JsonValue& value) {
  const std::string path = pathOfHighVersion(value.document());
  if (path.empty()) return;
  const std::string version = JsonValue(value.document()[Json::json_pointer(path)]).shown();
  value.failAt(path, version + " is above " + std::to_string(kMaxVersion));
}

/// Fields that are read an element at a time while the document is parsed. What is wrong with one is told in its
/// turn, after all that comes before it.
class LongFields {
 public:
  LongFields(UtcTime now, Versions versions) : versions(versions) {
    for (const TableKind* kind : allTableKinds())
      if (kind->group() == nullptr)
        if (auto reader = kind->elements(now)) fields[kind].reader = std::move(reader);
  }

  ElementTakers takers() {
    ElementTakers takers;
    for (auto& [kind, field] : fields)
      takers[kind->key()] = [this, &own = field](const JsonValue& element) { own.take(element, versions); };
    return takers;
  }

  /// Puts what was read of the field into the set. False when nothing was.
  bool finish(const TableKind& kind, TableSet& set) {
    const auto found = fields.find(&kind);
    if (found == fields.end() || !found->second.isRead) return false;
    found->second.finish(set);
    return true;
  }

 private:
  struct Field {
    std::unique_ptr<ElementReader> reader;
    bool isRead = false;
    InputErrors errors;

    void take(const JsonValue& element, Versions versions) {
      isRead = true;
      errors.gather([&] {
        reader->take(element);
        if (versions == Versions::ofTheWire) refuseHighVersions(element);
      });
    }

    void finish(TableSet& set) const {
      errors.throwIfAny();
      reader->finish(set);
    }
  };

  const Versions versions;
  std::map<const TableKind*, Field> fields;
};

}  // namespace

TableSet readTableSet(const NextPiece& next, UtcTime now, Versions versions) {
  LongFields longFields(now, versions);
  const Json document = parseJson(next, longFields.takers());
  const JsonValue root(document);
  TableSet set;
  InputErrors errors;
  errors.gather([&] { checkFields(root); });
  if (!root.isObject()) errors.throwIfAny();
  for (const TableKind* kind : allTableKinds()) {
    errors.gather([&] {
      const auto group = kind->group() == nullptr ? root : root.optional(kind->group());
      if (!group) return;
      if (const auto value = group->optional(kind->key()))
        if (!longFields.finish(*kind, set)) kind->read(*value, now, set);
    });
  }
  errors.gather([&] {
    if (versions == Versions::ofTheWire) refuseHighVersions(root);
  });
  errors.gather([&] {
    if (const auto periods = root.optional(kPeriods)) readPeriods(*periods, set);
  });
  errors.throwIfAny();
  return set;
}

TableSet readTableSet(std::string_view text, UtcTime now, Versions versions) {
  return readTableSet([&text] { return std::exchange(text, {}); }, now, versions);
}

std::string writeTableSet(const TableSet& set) {
  OrderedJson document = OrderedJson::object();
  for (const TableKind* kind : allTableKinds())
    if (kind->isIn(set))
      (kind->group() == nullptr ? document : document[kind->group()])[kind->key()] = kind->write(set);
  if (!set.periods.empty()) document[kPeriods] = writePeriods(set);
  return writeJson(document);
}

}  // namespace vantor::tables
