#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "interface/checks/Refusal.h"
#include "interface/psi/tableTypes.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/kinds/Digest.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sections/Section.h"
#include "programs/tables/sections/SubtableKey.h"
#include "programs/tables/values/UtcTime.h"

namespace vantor {
class serviceMux;
}

namespace vantor::tables {

/// One table of a set, as it is told from others and compared with what is on air.
struct TableInSet {
  /// The identifiers that no two tables of a kind share.
  using Identity = std::array<std::int32_t, 4>;

  Identity identity{};
  Digest content;                   ///< all that it has but its version_number
  std::int32_t* version = nullptr;  ///< the version_number, which stands in the set; null where there is none
  std::int32_t place = 0;           ///< where it is sent, if not always in the same place: the PID of a PMT
};

/// Reads a field that is an array one element at a time, so that nobody has to hold all of it.
class ElementReader {
 public:
  virtual ~ElementReader() = default;
  /// Reads the next element. Throws InputError.
  virtual void take(const JsonValue& element) = 0;
  /// Puts what was read into the set.
  virtual void finish(TableSet& set) = 0;
};

/// One kind of table and all its ways: in and out of JSON, out of a capture, on air. Kinds never change; a further
/// kind is a pair of files of its own and a line in allTableKinds(). What read() and decode() put into a set has
/// passed the check of its record.
class TableKind {
 public:
  /// The types of table that it has, all on the same PID.
  using Types = std::vector<const psi::TableType*>;

  explicit TableKind(Types types) : types(std::move(types)) {}
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
  /// What reads the field as read() does, where it is an array whose elements tell all by themselves; else null.
  virtual std::unique_ptr<ElementReader> elements(UtcTime /*now*/) const { return nullptr; }
  /// The field's value; the set has the table.
  virtual OrderedJson write(const TableSet& set) const = 0;

  /// Where it is found in a capture.
  bool hasTableId(std::uint8_t tableId) const;
  bool isOnPid(int pid) const;
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
  /// Puts the table that the sections of one version make into the set. Returns why they make none that can be
  /// sent, if so.
  [[nodiscard]] virtual std::optional<Refusal> decode(const SubtableKey& key, const std::vector<Section>& sections,
                                                      TableSet& set) const = 0;
  /// True when decode() keeps what it cannot express as whole sections.
  virtual bool hasFallback() const { return false; }
  /// What a table set does not keep of a section without versions, for people; empty for nothing.
  virtual std::string lossOf(const Section& /*section*/) const { return ""; }

  /// What is sent in another way than the set has it, one line each.
  virtual std::vector<std::string> warnings(const TableSet& set) const = 0;

  // On air. A kind has one table or any number of them in a set; each comes and goes by itself.

  /// The tables that the set has, in the order in which they are put on air.
  virtual std::vector<TableInSet> tablesIn(TableSet& set) const = 0;
  /// What people call the table with this index in tablesIn().
  virtual std::string nameOf(const TableSet& set, std::size_t table) const = 0;
  /// Hands the table with this index in tablesIn(), as it is at this time, to the library, new or in the place of
  /// the one with its identity. Returns false when it refuses.
  virtual bool putOnAir(const TableSet& set, std::size_t table, UtcTime now, serviceMux& mux) const = 0;
  /// Whether the library refuses it where another table is in the way, which may go: it is no error then, and the
  /// table is handed in again with each new set.
  virtual bool mayHaveToWait() const { return false; }
  /// Takes off air what was put there with this identity.
  virtual void takeOffAir(const TableInSet::Identity& identity, serviceMux& mux) const = 0;
  /// Whether the time alone can make a table another one.
  virtual bool changesWithTime() const { return false; }
  /// Whether the table that was put on air then is another one now. The set has the table.
  virtual bool isOutdated(const TableSet& /*set*/, UtcTime /*then*/, UtcTime /*now*/) const { return false; }

 private:
  const Types types;
};

/// As version_number: the table's versions are counted while it is on air. Not a value of the wire, and whoever
/// does not count sends it as 0.
constexpr std::int32_t kAutoVersion = INT32_MAX;

/// What goes on air as the version: a value above 31 as 0.
std::int32_t versionOnAir(std::int32_t version);

/// A warning when a version is given that is one that the wire has no room for.
void warnOfVersion(const std::string& table, std::int32_t version, std::vector<std::string>& warnings);

}  // namespace vantor::tables
