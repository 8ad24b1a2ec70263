#include "programs/tables/kinds/timeTables.h"

#include <algorithm>

#include "interface/checks/localTimeOffsets.h"
#include "interface/dvbpsi.h"
#include "interface/psi/section.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/kinds/refusals.h"
#include "programs/tables/values/localTimeJson.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::kCountryCodeSize;
using thrift::dvb_tables::kMaxLocalTimeOffsets;
using thrift::dvb_tables::LocalTimeOffset;

// EN 300 468 clause 6.2.20.
constexpr std::int16_t kLocalTimeOffsetTag = 0x58;
constexpr std::size_t kOffsetSize = 13;

bool isPrintable(const std::string& code) {
  return std::all_of(code.begin(), code.end(), [](char c) { return c > 0x20 && c < 0x7F; });
}

/// Three letters, or "0x" and the digits of three bytes where a capture has something else.
std::string readCountry(const JsonValue& value) {
  const std::string& code = value.string();
  if (code.size() == kCountryCodeSize && isPrintable(code)) return code;
  if (code.size() != 2 + 2 * kCountryCodeSize || code.compare(0, 2, "0x") != 0)
    value.fail(value.shown() + " is not a code of three letters");
  const Json digits(code.substr(2));
  return JsonValue(digits).hexBytes(kCountryCodeSize);
}

std::string countryText(const std::string& code) { return isPrintable(code) ? code : "0x" + hexDigits(code); }

LocalTime readEntry(const JsonValue& value, UtcTime now) {
  LocalTime entry = readLocalTime(value, {"country_code", "country_region_id"}, now);
  entry.record.country_code = readCountry(value.required("country_code"));
  readIntegerIfGiven(value, "country_region_id", entry.record.country_region_id);
  return entry;
}

OrderedJson writeEntry(const LocalTime& entry) {
  OrderedJson json{{"country_code", countryText(entry.record.country_code)},
                   {"country_region_id", entry.record.country_region_id}};
  writeLocalTime(entry, json);
  return json;
}

LocalTime decodeEntry(std::string_view bytes) {
  LocalTime entry;
  LocalTimeOffset& record = entry.record;
  record.country_code = bytes.substr(0, kCountryCodeSize);
  record.country_region_id = static_cast<std::int16_t>(byteAt(bytes, 3) >> 2);
  record.local_time_offset_polarity = static_cast<std::int16_t>(byteAt(bytes, 3) & 1);
  record.local_time_offset = static_cast<std::int16_t>(wordAt(bytes, 4));
  for (std::size_t i = 6; i < 11; ++i) record.time_of_change = record.time_of_change << 8 | byteAt(bytes, i);
  record.next_time_offset = static_cast<std::int16_t>(wordAt(bytes, 11));
  return entry;
}

std::vector<LocalTimeOffset> recordsAt(const std::vector<LocalTime>& entries, UtcTime now) {
  std::vector<LocalTimeOffset> records;
  records.reserve(entries.size());
  for (const LocalTime& entry : entries) records.push_back(recordAt(entry, now));
  return records;
}

dvbpsi_local_time_offset_s toDvbpsi(const LocalTimeOffset& record) {
  dvbpsi_local_time_offset_s to{};
  std::copy_n(record.country_code.data(), kCountryCodeSize, to.i_country_code);
  to.i_country_region_id = static_cast<std::uint8_t>(record.country_region_id);
  to.i_local_time_offset_polarity = static_cast<std::uint8_t>(record.local_time_offset_polarity);
  to.i_local_time_offset = static_cast<std::uint16_t>(record.local_time_offset);
  to.i_time_of_change = static_cast<std::uint64_t>(record.time_of_change);
  to.i_next_time_offset = static_cast<std::uint16_t>(record.next_time_offset);
  return to;
}

/// The descriptors of a TOT, which have the loop length before and CRC_32 behind them.
std::string_view descriptorsOfTot(const Section& section) {
  return std::string_view(section.bytes()).substr(kTotHead, section.bytes().size() - kTotHead - kCrcSize);
}

/// All entries of a TOT, of which there may be more than can be sent.
std::vector<LocalTime> decodeEntries(std::string_view loop) {
  std::vector<LocalTime> entries;
  for (const auto& descriptor : descriptorsOf(loop)) {
    if (descriptor.tag != kLocalTimeOffsetTag) continue;
    for (std::string_view rest = descriptor.data; rest.size() >= kOffsetSize; rest.remove_prefix(kOffsetSize))
      entries.push_back(decodeEntry(rest));
  }
  return entries;
}

class TimeKind : public TableKind {
 public:
  using TableKind::TableKind;

  const char* key() const override { return "time"; }

  bool isIn(const TableSet& set) const override { return set.time.has_value(); }
  void move(TableSet& from, TableSet& to) const override {
    if (from.time) to.time = std::move(from.time);
  }

  void read(const JsonValue& value, UtcTime now, TableSet& set) const override {
    value.allowOnly({"tdt", "local_time_offsets"});
    const JsonValue tdt = value.required("tdt");
    const auto list = value.optional("local_time_offsets");
    if (!tdt.boolean()) {
      if (list && list->size() > 0) tdt.fail("a TOT goes with a TDT only");
      return;
    }
    TimeTables time;
    for (std::size_t i = 0; list && i < list->size(); ++i) time.localTimes.push_back(readEntry(list->at(i), now));
    if (list) throwIfRefused(*list, check(recordsAt(time.localTimes, now)));
    set.time = std::move(time);
  }

  OrderedJson write(const TableSet& set) const override {
    OrderedJson json{{"tdt", true}};
    for (const LocalTime& entry : set.time->localTimes) json["local_time_offsets"].push_back(writeEntry(entry));
    return json;
  }

  bool hasSyntax() const override { return false; }
  bool isWellFormed(const Section& section) const override {
    const std::string_view bytes = section.bytes();
    if (section.tableId() == kTdtTableId) return bytes.size() == kTdtSize;
    return loopLength(bytes, kTotHead - 2) == bytes.size() - kTotHead - kCrcSize &&
           holdsDescriptors(descriptorsOfTot(section));
  }
  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    return {{section.tableId(), 0, 0, 0}, 0};
  }
  bool isSingle() const override { return false; }
  std::optional<Refusal> decode(const SubtableKey& /*key*/, const std::vector<Section>& sections,
                                TableSet& set) const override {
    if (!set.time) set.time.emplace();
    const Section& section = sections.front();
    if (section.tableId() != kTotTableId) return std::nullopt;
    set.time->localTimes = decodeEntries(descriptorsOfTot(section));
    set.time->localTimes.resize(std::min(set.time->localTimes.size(), kMaxLocalTimeOffsets));
    return std::nullopt;
  }
  std::string lossOf(const Section& section) const override {
    if (section.tableId() != kTotTableId) return "";
    const std::string_view loop = descriptorsOfTot(section);
    const std::size_t entries = decodeEntries(loop).size();
    if (entries == 0) return "left out, as it has no local time offsets";
    if (entries > kMaxLocalTimeOffsets)
      return std::to_string(entries - kMaxLocalTimeOffsets) + " of " + std::to_string(entries) +
             " local time offsets left out: a TOT has room for " + std::to_string(kMaxLocalTimeOffsets);
    for (const auto& descriptor : descriptorsOf(loop))
      if (descriptor.tag != kLocalTimeOffsetTag) return "descriptors other than local time offsets left out";
    return "";
  }

  std::vector<std::string> warnings(const TableSet& /*set*/) const override { return {}; }

  std::vector<TableInSet> tablesIn(TableSet& set) const override {
    if (!set.time) return {};
    Digester digester;
    for (const LocalTime& entry : set.time->localTimes) digester.addRecord(entry.record).addText(entry.timeZone);
    return {{{}, digester.finish()}};
  }
  std::string nameOf(const TableSet& /*set*/, std::size_t /*table*/) const override { return psi::kTdt.name; }
  bool putOnAir(const TableSet& set, std::size_t /*table*/, UtcTime now, serviceMux& mux) const override {
    std::vector<dvbpsi_local_time_offset_s> offsets;
    for (const LocalTimeOffset& record : recordsAt(set.time->localTimes, now)) offsets.push_back(toDvbpsi(record));
    mux.setLocalTimeOffsetTable(std::move(offsets));
    return true;  // there is room for them: they were counted when they were read
  }
  void takeOffAir(const TableInSet::Identity& /*identity*/, serviceMux& mux) const override {
    mux.clearLocalTimeOffsetTable();
  }
  bool changesWithTime() const override { return true; }
  bool isOutdated(const TableSet& set, UtcTime then, UtcTime now) const override {
    const auto& entries = set.time->localTimes;
    return std::any_of(entries.begin(), entries.end(),
                       [=](const LocalTime& entry) { return !(recordAt(entry, then) == recordAt(entry, now)); });
  }
};

}  // namespace

const TableKind& timeKind() {
  static const TimeKind kind({&psi::kTdt, &psi::kTot});
  return kind;
}

}  // namespace vantor::tables
