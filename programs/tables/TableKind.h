#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "programs/tables/JsonReader.h"
#include "programs/tables/JsonWriter.h"
#include "programs/tables/Section.h"
#include "programs/tables/TableSet.h"

namespace vantor {
class serviceMux;
}

namespace vantor::tables {

/// One kind of table and all its ways: in and out of JSON, out of a capture, on air. Kinds have no state; a further
/// kind is a file of its own and a line in allTableKinds().
class TableKind {
 public:
  virtual ~TableKind() = default;

  /// The field of a JSON table set.
  virtual const char* key() const = 0;
  /// What people call it; also as in the library's messages.
  virtual const char* label() const = 0;

  virtual bool isIn(const TableSet& set) const = 0;
  /// Moves what `from` has into `to`, over what was there.
  virtual void move(TableSet& from, TableSet& to) const = 0;

  /// Reads the field's value into the set. Throws InputError.
  virtual void read(const JsonValue& value, TableSet& set) const = 0;
  /// The field's value; the set has the table.
  virtual OrderedJson write(const TableSet& set) const = 0;

  /// Where it is found in a capture.
  virtual std::uint8_t tableId() const = 0;
  virtual std::uint16_t pid() const = 0;
  /// True when every length inside the section is right; decode() relies on it.
  virtual bool isWellFormed(const Section& section) const = 0;
  /// Puts the table that one whole version makes into the set. Returns false when it makes none.
  virtual bool decode(const std::vector<Section>& sections, TableSet& set) const = 0;

  /// True when the library's converter takes the table; it logs what it refuses. The set has the table.
  virtual bool isConvertible(const TableSet& set) const = 0;
  /// Hands the table to the library. Returns false when it refuses. The set has the table.
  virtual bool putOnAir(const TableSet& set, serviceMux& mux) const = 0;
  /// The version that the set gives its table.
  virtual int version(const TableSet& set) const = 0;
};

/// Every kind that this system knows, in the order in which table sets list them.
const std::vector<const TableKind*>& allTableKinds();

const TableKind& patKind();
const TableKind& catKind();
const TableKind& nitKind();

/// What is the same for all tables of which an output has one.
template <typename Record, std::optional<Record> TableSet::*Member>
class SingleTableKind : public TableKind {
 public:
  bool isIn(const TableSet& set) const override { return (set.*Member).has_value(); }
  void move(TableSet& from, TableSet& to) const override {
    if (from.*Member) to.*Member = std::move(from.*Member);
  }
  void read(const JsonValue& value, TableSet& set) const override { set.*Member = readRecord(value); }
  OrderedJson write(const TableSet& set) const override { return writeRecord(*(set.*Member)); }
  bool decode(const std::vector<Section>& sections, TableSet& set) const override {
    auto record = decodeRecord(sections);
    if (!record) return false;
    set.*Member = std::move(record);
    return true;
  }
  bool isConvertible(const TableSet& set) const override { return converts(*(set.*Member)); }
  bool putOnAir(const TableSet& set, serviceMux& mux) const override { return send(*(set.*Member), mux); }
  int version(const TableSet& set) const override { return (set.*Member)->version_number; }

 protected:
  virtual Record readRecord(const JsonValue& value) const = 0;
  virtual OrderedJson writeRecord(const Record& record) const = 0;
  virtual std::optional<Record> decodeRecord(const std::vector<Section>& sections) const = 0;
  virtual bool converts(const Record& record) const = 0;
  virtual bool send(const Record& record, serviceMux& mux) const = 0;
};

}  // namespace vantor::tables
