#include "programs/tables/kinds/stt.h"

#include <cstdio>

#include "interface/checks/localTimeOffsets.h"
#include "programs/tables/kinds/psip.h"
#include "programs/tables/kinds/refusals.h"
#include "programs/tables/values/localTimeJson.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

// ATSC A/65 clause 6.1.
constexpr std::size_t kDaylightSavings = 6;  // behind protocol_version, system_time and GPS_UTC_offset
constexpr std::size_t kHeadSize = kDaylightSavings + 2;

/// The clock of the STT is the machine's; a table set says whether it is sent and what it announces.
class SttKind : public TableKind {
 public:
  using TableKind::TableKind;

  const char* key() const override { return "stt"; }
  const char* group() const override { return kPsipGroup; }

  bool isIn(const TableSet& set) const override { return set.stt.has_value(); }
  void move(TableSet& from, TableSet& to) const override {
    if (from.stt) to.stt = std::move(from.stt);
  }

  void read(const JsonValue& value, UtcTime now, TableSet& set) const override {
    if (value.isObject()) {
      const LocalTime local = readLocalTime(value, {}, now);
      throwIfRefused(value, check(recordAt(local, now)));
      set.stt = local;
    } else if (value.boolean()) {
      set.stt.emplace();
    }
  }
  OrderedJson write(const TableSet& set) const override {
    if (*set.stt == LocalTime()) return true;
    OrderedJson json;
    writeLocalTime(*set.stt, json);
    return json;
  }

  bool hasVersions() const override { return false; }
  bool isWellFormed(const Section& section) const override {
    return section.payload().size() >= kHeadSize && holdsDescriptors(section.payload().substr(kHeadSize));
  }
  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    return {{section.tableId(), 0, 0, 0}, 0};
  }
  bool isSingle() const override { return false; }
  std::optional<Refusal> decode(const SubtableKey& /*key*/, const std::vector<Section>& /*sections*/,
                                TableSet& set) const override {
    set.stt.emplace();
    return std::nullopt;
  }
  /// Which change of the local time was announced cannot be told from what announced it.
  std::string lossOf(const Section& section) const override {
    std::string loss;
    if (const unsigned value = wordAt(section.payload(), kDaylightSavings); value != 0) {
      char text[96];
      std::snprintf(text, sizeof text, "daylight_savings 0x%04x left out: a time_zone of /atsc/stt gives it again",
                    value);
      loss = text;
    }
    if (section.payload().size() > kHeadSize)
      loss += (loss.empty() ? "" : "; ") + std::string("descriptors left out");
    return loss;
  }

  /// The carousel of the PID allots it one bit a second, so it goes out in the slots that others ask for.
  std::vector<std::string> warnings(const TableSet& set) const override {
    if (set.mgt || set.terrestrialVct || set.cableVct) return {};
    return {psi::kStt.name +
            std::string(": without an MGT or a VCT beside it, it is sent only once in 25 minutes")};
  }

  std::vector<TableInSet> tablesIn(TableSet& set) const override {
    if (!set.stt) return {};
    return {{{}, Digester().addRecord(set.stt->record).addText(set.stt->timeZone).finish()}};
  }
  std::string nameOf(const TableSet& /*set*/, std::size_t /*table*/) const override { return psi::kStt.name; }
  bool putOnAir(const TableSet& set, std::size_t /*table*/, UtcTime now, serviceMux& mux) const override {
    mux.newSTT(recordAt(*set.stt, now));
    return true;
  }
  void takeOffAir(const TableInSet::Identity& /*identity*/, serviceMux& mux) const override { mux.clearSTT(); }
  bool changesWithTime() const override { return true; }
  bool isOutdated(const TableSet& set, UtcTime then, UtcTime now) const override {
    return !(recordAt(*set.stt, then) == recordAt(*set.stt, now));
  }
};

}  // namespace

const TableKind& sttKind() {
  static const SttKind kind({&psi::kStt});
  return kind;
}

}  // namespace vantor::tables
