#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "programs/tables/JsonReader.h"
#include "programs/tables/JsonWriter.h"
#include "programs/tables/Section.h"
#include "programs/tables/SubtableKey.h"
#include "programs/tables/TableSet.h"
#include "programs/tables/UtcTime.h"

namespace vantor {
class serviceMux;
}

namespace vantor::tables {

/// One kind of table and all its ways: in and out of JSON, out of a capture, on air. Kinds have no state; a further
/// kind is a file of its own and a line in allTableKinds(). What read() and decode() put into a set, the library's
/// converter takes; it logs what it refuses.
class TableKind {
 public:
  TableKind() = default;
  TableKind(const TableKind&) = delete;
  TableKind& operator=(const TableKind&) = delete;
  virtual ~TableKind() = default;

  /// The field of a JSON table set, or of the group's object there.
  virtual const char* key() const = 0;
  /// Kinds that stand together in a field of the table set; null for one that stands alone.
  virtual const char* group() const { return nullptr; }
  /// The way to the field, for messages.
  std::string path() const { return (group() == nullptr ? "/" : '/' + std::string(group()) + '/') + key(); }

  virtual bool isIn(const TableSet& set) const = 0;
  /// Moves what `from` has into `to`, over what was there.
  virtual void move(TableSet& from, TableSet& to) const = 0;

  /// Reads the field's value into the set, which has the kinds listed before already. Times that are given relative
  /// to the present count from `now`. Throws InputError.
  virtual void read(const JsonValue& value, UtcTime now, TableSet& set) const = 0;
  /// The field's value; the set has the table.
  virtual OrderedJson write(const TableSet& set) const = 0;

  /// Where it is found in a capture.
  virtual bool hasTableId(std::uint8_t tableId) const = 0;
  virtual bool isOnPid(int pid) const = 0;
  /// False for what only its PID tells: a file of sections does not have it.
  virtual bool isFoundWithoutPid() const { return true; }
  /// Whether its sections have the section_syntax_indicator.
  virtual bool hasSyntax() const { return true; }
  /// Whether sections belong together by their version; else each one is a table, over the one before.
  virtual bool hasVersions() const { return hasSyntax(); }
  /// True when every length inside the section is right; what follows relies on it.
  virtual bool isWellFormed(const Section& section) const = 0;
  /// The subtable that a section found on `pid` belongs to.
  virtual SubtableKey keyOf(const Section& section, int pid) const = 0;
  /// True when a table set has but one table of this kind, whatever its extension.
  virtual bool isSingle() const = 0;
  /// True when each section has a meaning without the others of its version, so that some are better than none.
  virtual bool sectionsStandAlone() const { return false; }
  /// True when these sections of one version are all of it.
  virtual bool isWhole(const NumberedSections& sections) const;
  /// Puts the table that the sections of one version make into the set. Returns false when they make none that can
  /// be sent.
  virtual bool decode(const SubtableKey& key, const std::vector<Section>& sections, TableSet& set) const = 0;
  /// What a table set does not keep of a section without versions, for people; empty for nothing.
  virtual std::string lossOf(const Section& /*section*/) const { return ""; }
  /// What tells the subtable from others of its table_id, for people; empty for a single table.
  virtual std::string nameOf(const SubtableKey& key) const = 0;

  /// What is sent in another way than the set has it, one line each.
  virtual std::vector<std::string> warnings(const TableSet& set) const = 0;
  /// Hands the table, as it is at this time, to the library. Returns false when it refuses. The set has the table.
  virtual bool putOnAir(const TableSet& set, UtcTime now, serviceMux& mux) const = 0;
  /// Whether the table that was put on air then is another one now. The set has the table.
  virtual bool isOutdated(const TableSet& /*set*/, UtcTime /*then*/, UtcTime /*now*/) const { return false; }
};

/// Every kind that this system knows, in the order in which table sets list them.
const std::vector<const TableKind*>& allTableKinds();

const TableKind& patKind();
const TableKind& catKind();
const TableKind& nitKind();
const TableKind& pmtKind();
const TableKind& sdtActualKind();
const TableKind& sdtOtherKind();
const TableKind& eitPfKind();
const TableKind& eitScheduleKind();
const TableKind& timeKind();
const TableKind& mgtKind();
const TableKind& terrestrialVctKind();
const TableKind& cableVctKind();
const TableKind& sttKind();
const TableKind& conditionalAccessKind();

/// Why a record that was read cannot be sent stands in the converter's log line.
[[noreturn]] void failUnsendable(const JsonValue& value);

/// What goes on air as the version: a value above 31 as 0.
std::int32_t versionOnAir(std::int32_t version);

/// A warning when a version is one that the wire has no room for.
void warnOfVersion(const std::string& table, std::int32_t version, std::vector<std::string>& warnings);

/// What is the same for all tables of which an output has one.
template <typename Record, std::optional<Record> TableSet::*Member>
class SingleTableKind : public TableKind {
 public:
  bool isIn(const TableSet& set) const override { return (set.*Member).has_value(); }
  void move(TableSet& from, TableSet& to) const override {
    if (from.*Member) to.*Member = std::move(from.*Member);
  }
  void read(const JsonValue& value, UtcTime /*now*/, TableSet& set) const override {
    Record record = readRecord(value);
    if (!converts(record)) failUnsendable(value);
    set.*Member = std::move(record);
  }
  OrderedJson write(const TableSet& set) const override { return writeRecord(*(set.*Member)); }

  bool hasTableId(std::uint8_t id) const override { return id == tableId(); }
  bool isOnPid(int id) const override { return id == pid(); }
  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    return {section.tableId(), section.extension(), 0};
  }
  bool isSingle() const override { return true; }
  bool decode(const SubtableKey& /*key*/, const std::vector<Section>& sections, TableSet& set) const override {
    auto record = decodeRecord(sections);
    if (!record || !converts(*record)) return false;
    set.*Member = std::move(record);
    return true;
  }
  std::string nameOf(const SubtableKey& /*key*/) const override { return ""; }

  std::vector<std::string> warnings(const TableSet& set) const override {
    std::vector<std::string> out;
    warnOfVersion(label(), (set.*Member)->version_number, out);
    return out;
  }
  bool putOnAir(const TableSet& set, UtcTime /*now*/, serviceMux& mux) const override {
    return send(*(set.*Member), mux);
  }

 protected:
  virtual const char* label() const = 0;
  virtual std::uint8_t tableId() const = 0;
  virtual int pid() const = 0;
  virtual Record readRecord(const JsonValue& value) const = 0;
  virtual OrderedJson writeRecord(const Record& record) const = 0;
  virtual std::optional<Record> decodeRecord(const std::vector<Section>& sections) const = 0;
  virtual bool converts(const Record& record) const = 0;
  virtual bool send(const Record& record, serviceMux& mux) const = 0;
};

/// What is the same for all tables of which an output has any number.
template <typename Item, std::vector<Item> TableSet::*Member>
class TableListKind : public TableKind {
 public:
  bool isIn(const TableSet& set) const override { return !(set.*Member).empty(); }
  void move(TableSet& from, TableSet& to) const override {
    for (Item& item : from.*Member) put(std::move(item), to);
  }
  void read(const JsonValue& value, UtcTime now, TableSet& set) const override {
    std::map<Identity, std::size_t> seen;
    for (std::size_t i = 0; i < value.size(); ++i)
      for (Item& item : readItems(value.at(i), now)) {
        const auto [first, isNew] = seen.try_emplace(identityOf(item), i);
        if (!isNew)
          value.at(i).fail("the same table as in /" + std::string(key()) + "/" + std::to_string(first->second));
        if (!converts(item)) failUnsendable(value.at(i));
        put(std::move(item), set);
      }
  }
  OrderedJson write(const TableSet& set) const override {
    OrderedJson json = OrderedJson::array();
    for (const Item& item : set.*Member) json.push_back(writeItem(item));
    return json;
  }

  bool isSingle() const override { return false; }
  bool decode(const SubtableKey& key, const std::vector<Section>& sections, TableSet& set) const override {
    Item item = decodeItem(key, sections);
    if (!converts(item)) return false;
    put(std::move(item), set);
    return true;
  }

  std::vector<std::string> warnings(const TableSet& set) const override {
    std::vector<std::string> out;
    for (const Item& item : set.*Member) warnOfVersion(describe(item), versionOf(item), out);
    return out;
  }

 protected:
  /// The identifiers that no two tables of a set share.
  using Identity = std::array<std::int32_t, 4>;

  virtual Identity identityOf(const Item& item) const = 0;
  virtual std::string describe(const Item& item) const = 0;
  virtual std::int32_t versionOf(const Item& item) const = 0;
  /// Most elements of the JSON array are one table.
  virtual std::vector<Item> readItems(const JsonValue& value, UtcTime now) const = 0;
  virtual OrderedJson writeItem(const Item& item) const = 0;
  virtual Item decodeItem(const SubtableKey& key, const std::vector<Section>& sections) const = 0;
  virtual bool converts(const Item& item) const = 0;

  /// In its place among the others, over the one with the same identity.
  void put(Item item, TableSet& set) const {
    std::vector<Item>& items = set.*Member;
    const Identity identity = identityOf(item);
    const auto place =
        std::lower_bound(items.begin(), items.end(), identity,
                         [this](const Item& other, const Identity& id) { return identityOf(other) < id; });
    if (place != items.end() && identityOf(*place) == identity)
      *place = std::move(item);
    else
      items.insert(place, std::move(item));
  }
};

}  // namespace vantor::tables
