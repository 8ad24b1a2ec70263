#include "programs/tables/kinds/sdt.h"

#include "interface/converters/t2dSDT.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/TableListKind.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/kinds/sectionStarts.h"
#include "programs/tables/kinds/serviceFields.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::SDT;
using thrift::dvb_tables::SDTService;

// EN 300 468 clause 5.2.3.
constexpr std::uint8_t kScheduleFlag = 0x02;
constexpr std::uint8_t kPresentFollowingFlag = 0x01;

bool isWellFormedSdt(const Section& section) {
  return section.bytes().size() <= kMaxSectionSize && section.payload().size() >= kSdtHead &&
         holdsItems(section.payload().substr(kSdtHead), kSdtRoom.itemHead);
}

SDTService readService(const JsonValue& value) {
  value.allowOnly({"service_id", "EIT_schedule_flag", "EIT_present_following_flag", "running_status",
                   "free_CA_mode", "starts_section", "descriptors"});
  SDTService service;
  readInteger(value, "service_id", service.service_id);
  service.EIT_schedule_flag = hasFlag(value, "EIT_schedule_flag");
  service.EIT_present_following_flag = hasFlag(value, "EIT_present_following_flag");
  readServiceFields(value, service);
  return service;
}

SDT readSdt(const JsonValue& value) {
  value.allowOnly(
      {"transport_stream_id", "original_network_id", "version_number", "current_next_indicator", "services"});
  SDT sdt;
  readInteger(value, "transport_stream_id", sdt.transport_stream_id);
  readInteger(value, "original_network_id", sdt.original_network_id);
  readVersion(value, sdt);
  const JsonValue services = value.required("services");
  for (std::size_t i = 0; i < services.size(); ++i) sdt.services.push_back(readService(services.at(i)));
  return sdt;
}

OrderedJson writeSdt(const SDT& sdt) {
  OrderedJson json{{"transport_stream_id", sdt.transport_stream_id},
                   {"original_network_id", sdt.original_network_id}};
  writeVersion(sdt, json);
  auto& services = json["services"] = OrderedJson::array();
  for (const auto& service : sdt.services) {
    OrderedJson to{{"service_id", service.service_id}};
    writeFlag(service.EIT_schedule_flag, "EIT_schedule_flag", to);
    writeFlag(service.EIT_present_following_flag, "EIT_present_following_flag", to);
    writeServiceFields(service, to);
    services.push_back(std::move(to));
  }
  return json;
}

std::vector<SDTService> servicesOf(const Section& section) {
  std::vector<SDTService> services;
  for (const LoopItem& item : itemsOf(section.payload().substr(kSdtHead), kSdtRoom.itemHead)) {
    SDTService& service = services.emplace_back();
    service.service_id = wordAt(item.head, 0);
    service.EIT_schedule_flag = (byteAt(item.head, 2) & kScheduleFlag) != 0;
    service.EIT_present_following_flag = (byteAt(item.head, 2) & kPresentFollowingFlag) != 0;
    decodeServiceFields(byteAt(item.head, 3), service);
    service.descriptors = descriptorsOf(item.descriptors);
  }
  return services;
}

SDT decodeSdt(const std::vector<Section>& sections) {
  SDT sdt;
  sdt.transport_stream_id = sections.front().extension();
  sdt.original_network_id = wordAt(sections.front().payload(), 0);
  sdt.version_number = sections.front().version();
  sdt.current_next_indicator = sections.front().currentNext();
  std::vector<std::vector<SDTService>> services;
  services.reserve(sections.size());
  for (const Section& section : sections) services.push_back(servicesOf(section));
  appendSections(std::move(services), kSdtRoom, sdt.services);
  return sdt;
}

class SdtActualKind : public SingleTableKind<SDT, &TableSet::sdtActual> {
 public:
  using SingleTableKind::SingleTableKind;

  const char* key() const override { return "sdt_actual"; }
  bool isWellFormed(const Section& section) const override { return isWellFormedSdt(section); }

 protected:
  SDT readRecord(const JsonValue& value) const override { return readSdt(value); }
  OrderedJson writeRecord(const SDT& sdt) const override { return writeSdt(sdt); }
  std::optional<SDT> decodeRecord(const std::vector<Section>& sections) const override {
    return decodeSdt(sections);
  }
  bool send(const SDT& sdt, serviceMux& mux) const override { return mux.newSDTActual(sdt) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearSDTActual(); }
};

class SdtOtherKind : public TableListKind<SDT, &TableSet::sdtOthers> {
 public:
  using TableListKind::TableListKind;

  const char* key() const override { return "sdt_others"; }

  bool isWellFormed(const Section& section) const override { return isWellFormedSdt(section); }
  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    return {{section.tableId(), section.extension(), section.extension(), wordAt(section.payload(), 0)}, 0};
  }

  void takeOffAir(const Identity& identity, serviceMux& mux) const override {
    mux.clearSDTOthers(identity[1], identity[0]);
  }

 protected:
  Identity identityOf(const SDT& sdt) const override { return {sdt.original_network_id, sdt.transport_stream_id}; }
  psi::TableKey tableKeyOf(const SDT& sdt) const override {
    const auto stream = static_cast<std::uint16_t>(sdt.transport_stream_id);
    return {kSdtOtherTableId, stream, stream, static_cast<std::uint16_t>(sdt.original_network_id)};
  }
  std::vector<SDT> readItems(const JsonValue& value, UtcTime /*now*/) const override { return {readSdt(value)}; }
  OrderedJson writeItem(const SDT& sdt, const TableSet& /*set*/) const override { return writeSdt(sdt); }
  SDT decodeItem(const SubtableKey& /*key*/, const std::vector<Section>& sections) const override {
    return decodeSdt(sections);
  }
  bool send(const SDT& sdt, serviceMux& mux) const override { return mux.newSDTOthers(sdt) >= 0; }
};

}  // namespace

const TableKind& sdtActualKind() {
  static const SdtActualKind kind(psi::kSdtActual);
  return kind;
}

const TableKind& sdtOtherKind() {
  static const SdtOtherKind kind({&psi::kSdtOther});
  return kind;
}

}  // namespace vantor::tables
