#include "programs/tables/kinds/nit.h"

#include <algorithm>

#include "interface/converters/t2dNIT.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/TableListKind.h"
#include "programs/tables/kinds/nitForm.h"
#include "programs/tables/kinds/sections.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::NIT;

class NitKind : public SingleTableKind<NIT, &TableSet::nit> {
 public:
  using SingleTableKind::SingleTableKind;

  const char* key() const override { return "nit"; }
  bool isWellFormed(const Section& section) const override { return isWellFormedNit(section); }

 protected:
  NIT readRecord(const JsonValue& value) const override { return readNit(value, "network_id"); }
  OrderedJson writeRecord(const NIT& nit) const override { return writeNit(nit, "network_id"); }
  std::optional<NIT> decodeRecord(const std::vector<Section>& sections) const override {
    return decodeNit(sections);
  }
  bool send(const NIT& nit, serviceMux& mux) const override { return mux.newNIT(nit) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearNIT(); }
};

/// NIT other or BAT. Where its sections would be others than those it came in, it is kept as these.
template <std::vector<NIT> TableSet::*Member>
class NetworkKind : public TableListKind<NIT, Member> {
 public:
  NetworkKind(const psi::TableType& type, const char* key, const char* id)
      : TableListKind<NIT, Member>(TableKind::Types{&type}), type(type), field(key), id(id) {}

  const char* key() const override { return field; }

  bool isWellFormed(const Section& /*section*/) const override { return true; }
  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    return {{section.tableId(), section.extension(), 0, 0}, 0};
  }
  bool hasFallback() const override { return true; }
  std::optional<Refusal> decode(const SubtableKey& key, const std::vector<Section>& sections,
                                TableSet& set) const override {
    const SubtableKey asSections{key.table, type.pid};
    if (const auto nit = readable(sections)) {
      dropSections(asSections, set);
      this->put(*nit, set);
      return std::nullopt;
    }
    this->drop({key.table.extension}, set);
    return sectionsKind().decode(asSections, sections, set);
  }

  bool mayHaveToWait() const override { return true; }
  void takeOffAir(const TableInSet::Identity& identity, serviceMux& mux) const override {
    mux.clearSections(type.pid, type.firstTableId, identity[0]);
  }

 protected:
  using Identity = typename TableListKind<NIT, Member>::Identity;

  Identity identityOf(const NIT& nit) const override { return {nit.network_id}; }
  psi::TableKey tableKeyOf(const NIT& nit) const override {
    return {type.firstTableId, static_cast<std::uint16_t>(nit.network_id), 0, 0};
  }
  std::vector<NIT> readItems(const JsonValue& value, UtcTime /*now*/) const override {
    return {readNit(value, id)};
  }
  OrderedJson writeItem(const NIT& nit, const TableSet& /*set*/) const override { return writeNit(nit, id); }
  NIT decodeItem(const SubtableKey& /*key*/, const std::vector<Section>& sections) const override {
    return decodeNit(sections);
  }
  bool send(const NIT& nit, serviceMux& mux) const override { return sendSections(wholeSections(nit), mux); }
  /// The record has the bouquet_id as a network_id.
  std::optional<Refusal> whyUnsendable(const NIT& nit) const override {
    auto refusal = check(nit);
    if (refusal && refusal->path == "/network_id") refusal->path = std::string("/") + id;
    return refusal;
  }

 private:
  /// None where something would get lost.
  std::optional<NIT> readable(const std::vector<Section>& sections) const {
    if (!std::all_of(sections.begin(), sections.end(), &isWellFormedNit)) return std::nullopt;
    NIT nit = decodeNit(sections);
    if (check(nit)) return std::nullopt;
    const std::vector<std::string> made = sectionsOfNit(nit, type.firstTableId);
    const bool isSame =
        std::equal(made.begin(), made.end(), sections.begin(), sections.end(),
                   [](const std::string& bytes, const Section& section) { return bytes == section.bytes(); });
    return isSame ? std::optional(std::move(nit)) : std::nullopt;
  }

  thrift::dvb_tables::Sections wholeSections(const NIT& nit) const {
    thrift::dvb_tables::Sections sections;
    sections.pid = type.pid;
    sections.period = static_cast<std::int32_t>(type.period);
    sections.sections = sectionsOfNit(nit, type.firstTableId);
    return sections;
  }

  const psi::TableType& type;
  const char* const field;
  const char* const id;
};

}  // namespace

const TableKind& nitKind() {
  static const NitKind kind(psi::kNitActual);
  return kind;
}

const TableKind& nitOtherKind() {
  static const NetworkKind<&TableSet::nitOthers> kind(psi::kNitOther, "nit_others", "network_id");
  return kind;
}

const TableKind& batKind() {
  static const NetworkKind<&TableSet::bats> kind(psi::kBat, "bats", "bouquet_id");
  return kind;
}

}  // namespace vantor::tables
