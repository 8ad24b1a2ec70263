#include "programs/tables/kinds/conditionalAccess.h"

#include <algorithm>

#include "interface/checks/conditionalAccess.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/kinds/programPids.h"
#include "programs/tables/kinds/refusals.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::general::CaFormat;
using thrift::general::ScramblerConfig;
using thrift::general::ScramblerType;
using thrift::general::simulCryptData;

constexpr std::size_t kMaxMessageSize = 1U << 20;
constexpr std::int32_t kImportedUsid = 1;

using PidLists = std::map<std::int32_t, std::vector<std::int32_t>>;

/// Reads "sections" or "packets", of which one must be there, into the fields of a message.
template <typename Message>
void readData(const JsonValue& value, Message& message) {
  const auto sections = value.optional("sections");
  const auto packets = value.optional("packets");
  if (sections.has_value() == packets.has_value()) value.fail(R"(either "sections" or "packets" must be there)");
  const JsonValue& data = sections ? *sections : *packets;
  message.format = sections ? CaFormat::SECTIONS : CaFormat::PACKETS;
  message.data = data.hexBytes(kMaxMessageSize);
  if (message.data.empty()) data.fail("there are no bytes");
}

/// Format and data are one field of JSON, named after the format.
template <typename Message>
const char* dataField(const Message& message) {
  return message.format == CaFormat::SECTIONS ? "sections" : "packets";
}

template <typename Message>
void checkMessage(const JsonValue& value, const Message& message) {
  auto refusal = check(message);
  if (refusal && refusal->path == "/data") refusal->path = std::string("/") + dataField(message);
  throwIfRefused(value, refusal);
}

template <typename Message>
void writeData(const Message& message, OrderedJson& json) {
  json[dataField(message)] = hexDigits(message.data);
}

simulCryptData readFixed(const JsonValue& value) {
  value.allowOnly({"sections", "packets"});
  simulCryptData message;
  readData(value, message);
  checkMessage(value, message);
  return message;
}

/// As it stands there, for the check of the record.
std::int32_t readInt32(const JsonValue& value) {
  return static_cast<std::int32_t>(value.integer(INT32_MIN, INT32_MAX));
}

/// The configuration must have the PID of each message.
void refuseUnlisted(const JsonValue& value, std::int32_t pid, const PidLists& lists) {
  const bool isListed = std::any_of(lists.begin(), lists.end(), [pid](const auto& list) {
    return std::count(list.second.begin(), list.second.end(), pid) != 0;
  });
  if (!isListed) value.required("pid").fail(value.required("pid").shown() + " is in none of the PID lists");
}

PidLists readPidLists(const JsonValue& owner, const char* field) {
  PidLists lists;
  const auto value = owner.optional(field);
  for (std::size_t i = 0; value && i < value->size(); ++i) {
    const JsonValue list = value->at(i);
    list.allowOnly({"usid", "pids"});
    const JsonValue usid = list.required("usid");
    const auto [entry, isNew] = lists.try_emplace(usid.integer<std::int32_t>());
    if (!isNew) usid.fail(std::to_string(entry->first) + " stands there twice");
    const JsonValue pids = list.required("pids");
    for (std::size_t n = 0; n < pids.size(); ++n) entry->second.push_back(readPid(pids.at(n)));
  }
  return lists;
}

/// Where JSON has what the record has at `path`: a list of usids and their PIDs instead of a map.
std::string placeInJson(const std::string& path, const JsonValue& value) {
  for (const char* field : {"ecm_pids", "emm_pids"}) {
    const auto lists = value.optional(field);
    for (std::size_t i = 0; lists && i < lists->size(); ++i) {
      const std::string list = std::string("/") + field + '/';
      const std::string ofUsid = list + std::to_string(readInt32(lists->at(i).required("usid"))) + '/';
      if (path.compare(0, ofUsid.size(), ofUsid) == 0)
        return list + std::to_string(i) + "/pids/" + path.substr(ofUsid.size());
    }
  }
  return path;
}

void checkConfig(const JsonValue& value, const ScramblerConfig& config) {
  auto refusal = check(config);
  if (refusal) refusal->path = placeInJson(refusal->path, value);
  throwIfRefused(value, refusal);
}

void writePidLists(const PidLists& lists, const char* field, OrderedJson& owner) {
  if (lists.empty()) return;
  auto& json = owner[field] = OrderedJson::array();
  for (const auto& [usid, pids] : lists) {
    auto texts = OrderedJson::array();
    for (const std::int32_t pid : pids) texts.push_back(pidText(pid));
    json.push_back({{"usid", usid}, {"pids", std::move(texts)}});
  }
}

template <typename Item, typename Read>
std::vector<Item> readList(const JsonValue& owner, const char* field, Read read) {
  std::vector<Item> items;
  const auto list = owner.optional(field);
  for (std::size_t i = 0; list && i < list->size(); ++i) items.push_back(read(list->at(i)));
  return items;
}

void readFixedPids(const JsonValue& value, ConditionalAccess& access) {
  value.allowOnly({"scrambler_type", "ecm", "emms"});
  if (const auto ecm = value.optional("ecm")) access.ecm = readFixed(*ecm);
  access.emms = readList<simulCryptData>(value, "emms", &readFixed);
}

void readSimulcrypt(const JsonValue& value, ConditionalAccess& access) {
  value.allowOnly({"scrambler_type", "ecm_pids", "emm_pids", "ecms", "emms"});
  ScramblerConfig& config = access.config;
  config.ecm_pids = readPidLists(value, "ecm_pids");
  config.emm_pids = readPidLists(value, "emm_pids");
  checkConfig(value, config);
  access.liveEcms = readList<thrift::simulcrypt::ECMItem>(value, "ecms", [&](const JsonValue& item) {
    item.allowOnly({"pid", "sections", "packets", "period"});
    thrift::simulcrypt::ECMItem ecm;
    readPid(item, "pid", ecm.pid);
    readData(item, ecm);
    if (const auto period = item.optional("period")) {
      if (ecm.format == CaFormat::SECTIONS) period->fail("sections have the period of the library, 100 ms");
      ecm.period = static_cast<std::int16_t>(period->integer(INT16_MIN, INT16_MAX));
      if (ecm.period == 0) period->fail("0 is no period");
    }
    checkMessage(item, ecm);
    refuseUnlisted(item, ecm.pid, config.ecm_pids);
    return ecm;
  });
  access.liveEmms = readList<thrift::simulcrypt::EMMItem>(value, "emms", [&](const JsonValue& item) {
    item.allowOnly({"pid", "sections", "packets"});
    thrift::simulcrypt::EMMItem emm;
    readPid(item, "pid", emm.pid);
    readData(item, emm);
    checkMessage(item, emm);
    refuseUnlisted(item, emm.pid, config.emm_pids);
    return emm;
  });
}

ConditionalAccess readAccess(const JsonValue& value) {
  ConditionalAccess access;
  access.config.enabled = true;
  access.config.scrambler_type = readInt32(value.required("scrambler_type"));
  checkConfig(value, access.config);
  if (access.config.scrambler_type == ScramblerType::SIMULCRYPT)
    readSimulcrypt(value, access);
  else
    readFixedPids(value, access);
  return access;
}

OrderedJson writeAccess(const ConditionalAccess& access) {
  OrderedJson json{{"scrambler_type", access.config.scrambler_type}};
  writePidLists(access.config.ecm_pids, "ecm_pids", json);
  writePidLists(access.config.emm_pids, "emm_pids", json);
  if (access.ecm) writeData(*access.ecm, json["ecm"]);
  for (const auto& ecm : access.liveEcms) {
    OrderedJson item{{"pid", pidText(ecm.pid)}};
    writeData(ecm, item);
    if (ecm.period != 0) item["period"] = ecm.period;
    json["ecms"].push_back(std::move(item));
  }
  for (const auto& emm : access.emms) writeData(emm, json["emms"].emplace_back());
  for (const auto& emm : access.liveEmms) {
    OrderedJson item{{"pid", pidText(emm.pid)}};
    writeData(emm, item);
    json["emms"].push_back(std::move(item));
  }
  return json;
}

/// To the library a list without any entry is one that was forgotten, and it logs that. An entry without PIDs is
/// meant.
ScramblerConfig withoutEmptyLists(ScramblerConfig config) {
  for (PidLists* lists : {&config.ecm_pids, &config.emm_pids})
    if (lists->empty()) lists->try_emplace(kImportedUsid);
  return config;
}

/// The latest ECM of each PID stays.
void takeEcm(std::int32_t pid, const std::string& section, std::optional<ConditionalAccess>& access) {
  if (!access) {
    access.emplace();
    access->config.enabled = true;
    access->config.scrambler_type = ScramblerType::SIMULCRYPT;
  }
  auto& ecms = access->liveEcms;
  const auto place = std::lower_bound(ecms.begin(), ecms.end(), pid,
                                      [](const auto& ecm, std::int32_t id) { return ecm.pid < id; });
  if (place != ecms.end() && place->pid == pid) {
    place->data = section;
    return;
  }
  thrift::simulcrypt::ECMItem ecm;
  ecm.pid = pid;
  ecm.format = CaFormat::SECTIONS;
  ecm.data = section;
  ecms.insert(place, ecm);
  auto& pids = access->config.ecm_pids[kImportedUsid];
  pids.insert(std::lower_bound(pids.begin(), pids.end(), pid), pid);
}

// What comes and goes by itself is the configuration, which ends all messages, each ECM and each EMM.
constexpr TableInSet::Identity kConfiguration{};
enum Part : std::int32_t { kFixedEcm = 1, kLiveEcm, kFixedEmm, kLiveEmm };

/// The parts of one conditional access, in the order in which they are put on air.
class Messages {
 public:
  explicit Messages(const ConditionalAccess& access) : access(access), configuration(digestOfConfiguration()) {}

  std::vector<TableInSet> tables() {
    all.push_back({kConfiguration, configuration});
    if (access.ecm) add({kFixedEcm}, *access.ecm);
    for (const auto& ecm : access.liveEcms) addLiveEcm(ecm);
    for (const auto& emm : access.emms) addEmm(kFixedEmm, emm);
    for (const auto& emm : access.liveEmms) addEmm(kLiveEmm, emm);
    return std::move(all);
  }

 private:
  /// ECMs stay on air until the configuration comes again, so that one that has gone makes it another one.
  Digest digestOfConfiguration() {
    digester.addRecord(access.config).addNumber(access.ecm ? 1 : 0);
    for (const auto& ecm : access.liveEcms) digester.addNumber(ecm.pid);
    return digester.finish();
  }

  /// All messages come again with a new configuration.
  template <typename Message>
  Digest digestOf(const Message& message) {
    digester.addNumber(static_cast<std::int64_t>(configuration.low)).addRecord(message);
    return digester.finish();
  }

  template <typename Message>
  void add(const TableInSet::Identity& identity, const Message& message) {
    all.push_back({identity, digestOf(message)});
  }

  /// Of several with one PID the last one stays on air: it comes again behind another one that is new.
  void addLiveEcm(const thrift::simulcrypt::ECMItem& ecm) {
    auto& [count, before] = ecmsOfPid[ecm.pid];
    digester.addNumber(static_cast<std::int64_t>(before));
    add({kLiveEcm, ecm.pid, count++}, ecm);
    before = all.back().content.low;
  }

  /// Sent once, an EMM is what it says; the same one may be there again.
  template <typename Message>
  void addEmm(Part part, const Message& emm) {
    const std::uint64_t content = digestOf(emm).low;
    const auto high = static_cast<std::int32_t>(content >> 32);
    const auto low = static_cast<std::int32_t>(content);
    add({part, high, low, ++copies[content]}, emm);
  }

  const ConditionalAccess& access;
  Digester digester;
  const Digest configuration;
  std::map<std::int32_t, std::pair<std::int32_t, std::uint64_t>>
      ecmsOfPid;                                 // how many, and the content of the last
  std::map<std::uint64_t, std::int32_t> copies;  // of each EMM
  std::vector<TableInSet> all;
};

/// Sends the part with this index in Messages::tables().
void sendPart(const ConditionalAccess& access, std::size_t part, serviceMux& mux) {
  if (part-- == 0) return mux.setDRMConfig(withoutEmptyLists(access.config));
  if (access.ecm && part-- == 0) return mux.setECM(*access.ecm);
  if (part < access.liveEcms.size()) return mux.setLiveECM(access.liveEcms[part]);
  part -= access.liveEcms.size();
  if (part < access.emms.size()) return mux.setEMM(access.emms[part]);
  mux.setLiveEMM(access.liveEmms[part - access.emms.size()]);
}

class ConditionalAccessKind : public TableKind {
 public:
  using TableKind::TableKind;

  const char* key() const override { return "conditional_access"; }

  bool isIn(const TableSet& set) const override { return set.conditionalAccess.has_value(); }
  void move(TableSet& from, TableSet& to) const override {
    if (from.conditionalAccess) to.conditionalAccess = std::move(from.conditionalAccess);
  }

  void read(const JsonValue& value, UtcTime /*now*/, TableSet& set) const override {
    set.conditionalAccess = readAccess(value);
  }
  OrderedJson write(const TableSet& set) const override { return writeAccess(*set.conditionalAccess); }

  bool isFoundWithoutPid() const override { return false; }
  bool hasSyntax() const override { return false; }
  bool isWellFormed(const Section& /*section*/) const override { return true; }
  // ECMs change their table_id with the key that they bring.
  SubtableKey keyOf(const Section& /*section*/, int pid) const override {
    return {{kEvenEcmTableId, 0, 0, 0}, pid};
  }
  bool isSingle() const override { return false; }
  std::optional<Refusal> decode(const SubtableKey& key, const std::vector<Section>& sections,
                                TableSet& set) const override {
    takeEcm(key.pid, sections.front().bytes(), set.conditionalAccess);
    return std::nullopt;
  }

  std::vector<std::string> warnings(const TableSet& /*set*/) const override { return {}; }

  std::vector<TableInSet> tablesIn(TableSet& set) const override {
    if (!set.conditionalAccess) return {};
    return Messages(*set.conditionalAccess).tables();
  }
  std::string nameOf(const TableSet& /*set*/, std::size_t /*table*/) const override { return path(); }
  bool putOnAir(const TableSet& set, std::size_t table, UtcTime /*now*/, serviceMux& mux) const override {
    sendPart(*set.conditionalAccess, table, mux);
    return true;  // the records were checked when they were read
  }
  /// Without its configuration there are no messages; a message alone goes with a new configuration.
  void takeOffAir(const TableInSet::Identity& identity, serviceMux& mux) const override {
    if (identity != kConfiguration) return;
    mux.clearECM();
    mux.clearEMM();
    mux.clearLiveECMs();
    mux.clearLiveEMMs();
  }
};

}  // namespace

const TableKind& conditionalAccessKind() {
  static const ConditionalAccessKind kind({&psi::kEcm});
  return kind;
}

}  // namespace vantor::tables
