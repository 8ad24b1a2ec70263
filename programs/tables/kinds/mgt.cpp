#include "programs/tables/kinds/mgt.h"

#include "interface/converters/t2dMGT.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/masterGuide.h"
#include "programs/tables/kinds/psip.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::MGT;
using thrift::dvb_tables::MGTTable;

constexpr unsigned kMgtLengthBits = 12;  // ATSC A/65 clause 6.2

MGTTable readTable(const JsonValue& value) {
  value.allowOnly({"table_type", "table_type_pid", "table_type_version_number", "number_bytes", "descriptors"});
  MGTTable table;
  readInteger(value, "table_type", table.table_type);
  readPid(value, "table_type_pid", table.table_type_pid);
  table.table_type_version_number = kOfTheSet;
  readIntegerIfGiven(value, "table_type_version_number", table.table_type_version_number);
  table.number_bytes = kOfTheSet;
  readIntegerIfGiven(value, "number_bytes", table.number_bytes);
  table.descriptors = readDescriptors(value);
  return table;
}

OrderedJson writeTable(const MGTTable& table) {
  OrderedJson json{{"table_type", table.table_type}, {"table_type_pid", pidText(table.table_type_pid)}};
  if (table.table_type_version_number != kOfTheSet)
    json["table_type_version_number"] = table.table_type_version_number;
  if (table.number_bytes != kOfTheSet) json["number_bytes"] = table.number_bytes;
  writeDescriptors(table.descriptors, json, Family::kAtsc);
  return json;
}

MGTTable takeTable(BitReader& bits) {
  MGTTable table;
  table.table_type = static_cast<std::int32_t>(bits.bits(16));
  bits.bits(3);
  table.table_type_pid = static_cast<std::int32_t>(bits.bits(13));
  bits.bits(3);
  table.table_type_version_number = static_cast<std::int16_t>(bits.bits(5));
  table.number_bytes = bits.bits(32);
  table.descriptors = takeDescriptors(bits, kMgtLengthBits);
  return table;
}

/// Adds what one section has. Returns false when it is not laid out as an MGT.
bool addSection(const Section& section, MGT& mgt) {
  BitReader bits(section.payload());
  mgt.protocol_version = static_cast<std::int16_t>(bits.bits(8));
  for (auto tables = bits.bits(16); tables > 0 && bits.isGood(); --tables) mgt.tables.push_back(takeTable(bits));
  append(takeDescriptors(bits, kMgtLengthBits), mgt.descriptors);
  return bits.isGood() && bits.atEnd();
}

class MgtKind : public SingleTableKind<MGT, &TableSet::mgt> {
 public:
  using SingleTableKind::SingleTableKind;

  const char* key() const override { return "mgt"; }
  const char* group() const override { return kPsipGroup; }

  bool isWellFormed(const Section& section) const override {
    MGT unused;
    return addSection(section, unused);
  }

  std::vector<std::string> warnings(const TableSet& set) const override {
    std::vector<std::string> out = SingleTableKind::warnings(set);
    append(masterGuideWarnings(set), out);
    return out;
  }

 protected:
  MGT readRecord(const JsonValue& value) const override {
    value.allowOnly({"version_number", "current_next_indicator", "protocol_version", "tables", "descriptors"});
    MGT mgt;
    readPsipHead(value, mgt);
    mgt.descriptors = readDescriptors(value);
    const JsonValue tables = value.required("tables");
    for (std::size_t i = 0; i < tables.size(); ++i) mgt.tables.push_back(readTable(tables.at(i)));
    return mgt;
  }

  OrderedJson writeRecord(const MGT& mgt) const override {
    OrderedJson json;
    writePsipHead(mgt, json);
    writeDescriptors(mgt.descriptors, json, Family::kAtsc);
    auto& tables = json["tables"] = OrderedJson::array();
    for (const MGTTable& table : mgt.tables) tables.push_back(writeTable(table));
    return json;
  }

  std::optional<MGT> decodeRecord(const std::vector<Section>& sections) const override {
    return decodePsip<MGT>(sections, &addSection);
  }

  /// What is to come from the set is not known yet; any value takes the same room.
  std::optional<Refusal> whyUnsendable(const MGT& mgt) const override {
    MGT whole = mgt;
    for (MGTTable& table : whole.tables) {
      table.table_type_version_number = std::max<std::int16_t>(table.table_type_version_number, 0);
      table.number_bytes = std::max<std::int64_t>(table.number_bytes, 0);
    }
    return check(whole);
  }
  bool send(const MGT& mgt, serviceMux& mux) const override { return mux.newMGT(mgt) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearMGT(); }
};

}  // namespace

const TableKind& mgtKind() {
  static const MgtKind kind(psi::kMgt);
  return kind;
}

}  // namespace vantor::tables
