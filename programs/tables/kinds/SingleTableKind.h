#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "programs/tables/kinds/TableKind.h"
#include "programs/tables/kinds/refusals.h"

namespace vantor::tables {

/// What is the same for all tables of which an output has one.
template <typename Record, std::optional<Record> TableSet::*Member>
class SingleTableKind : public TableKind {
 public:
  explicit SingleTableKind(const psi::TableType& type) : TableKind({&type}), type(type) {}

  bool isIn(const TableSet& set) const override { return (set.*Member).has_value(); }
  void move(TableSet& from, TableSet& to) const override {
    if (from.*Member) to.*Member = std::move(from.*Member);
  }
  void read(const JsonValue& value, UtcTime /*now*/, TableSet& set) const override {
    Record record = readRecord(value);
    throwIfRefused(value, whyUnsendable(record));
    set.*Member = std::move(record);
  }
  OrderedJson write(const TableSet& set) const override { return writeRecord(*(set.*Member)); }

  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    return {{section.tableId(), section.extension(), 0, 0}, 0};
  }
  bool isSingle() const override { return true; }
  std::optional<Refusal> decode(const SubtableKey& /*key*/, const std::vector<Section>& sections,
                                TableSet& set) const override {
    auto record = decodeRecord(sections);
    if (!record) return Refusal{"", "", "its sections are laid out otherwise"};
    if (auto refusal = whyUnsendable(*record)) return refusal;
    set.*Member = std::move(record);
    return std::nullopt;
  }

  std::vector<std::string> warnings(const TableSet& set) const override {
    std::vector<std::string> out;
    warnOfVersion(type.name, (set.*Member)->version_number, out);
    return out;
  }

  std::vector<TableInSet> tablesIn(TableSet& set) const override {
    if (!isIn(set)) return {};
    Record& record = *(set.*Member);
    return {{{}, Digester().addContent(record).finish(), &record.version_number}};
  }
  std::string nameOf(const TableSet& /*set*/, std::size_t /*table*/) const override { return type.name; }
  bool putOnAir(const TableSet& set, std::size_t /*table*/, UtcTime /*now*/, serviceMux& mux) const override {
    return send(*(set.*Member), mux);
  }
  void takeOffAir(const TableInSet::Identity& /*identity*/, serviceMux& mux) const override { clear(mux); }

 protected:
  virtual Record readRecord(const JsonValue& value) const = 0;
  virtual OrderedJson writeRecord(const Record& record) const = 0;
  virtual std::optional<Record> decodeRecord(const std::vector<Section>& sections) const = 0;
  virtual std::optional<Refusal> whyUnsendable(const Record& record) const { return check(record); }
  virtual bool send(const Record& record, serviceMux& mux) const = 0;
  virtual void clear(serviceMux& mux) const = 0;

 private:
  const psi::TableType& type;
};

}  // namespace vantor::tables
