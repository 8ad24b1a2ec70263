#include "interface/converters/t2dSDT.h"

#include "interface/converters/check.h"
#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/psi/tableIds.h"

namespace vantor::thrift::dvb_tables {

namespace {

bool fitsSections(const Field& sdt, const SDT& record) {
  SectionCount sections(kSdtRoom);
  for (std::size_t i = 0; i < record.services.size(); ++i) {
    const SDTService& service = record.services[i];
    if (!sections.add(sdt.element("services", i), service.descriptors, startsSection(service))) return false;
  }
  return fitsSectionCount(sdt["services"], sections.count());
}

bool canBeSent(const Field& sdt, const SDT& record) {
  if (!inRange(sdt["transport_stream_id"], record.transport_stream_id, kMax16Bits)) return false;
  if (!inRange(sdt["original_network_id"], record.original_network_id, kMax16Bits)) return false;
  if (!isVersion(sdt["version_number"], record.version_number)) return false;
  for (std::size_t i = 0; i < record.services.size(); ++i) {
    const SDTService& service = record.services[i];
    const Field field = sdt.element("services", i);
    if (!inRange(field["service_id"], service.service_id, kMax16Bits)) return false;
    if (!inRange(field["running_status"], service.running_status, kMax3Bits)) return false;
    if (!areDescriptors(field, "descriptors", service.descriptors)) return false;
  }
  return fitsSections(sdt, record);
}

}  // namespace

std::optional<Refusal> check(const SDT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_sdt_t* t2dSDT(const SDT& record) {
  if (isRefused("SDT", check(record))) return nullptr;
  SdtTable sdt(dvbpsi_sdt_new(kSdtActualTableId, static_cast<std::uint16_t>(record.transport_stream_id),
                              versionByte(record.version_number), record.current_next_indicator,
                              static_cast<std::uint16_t>(record.original_network_id)));
  if (!sdt) return nullptr;
  for (const SDTService& service : record.services) {
    dvbpsi_sdt_service_t* const added =
        dvbpsi_sdt_service_add(sdt.get(), static_cast<std::uint16_t>(service.service_id), service.EIT_schedule_flag,
                               service.EIT_present_following_flag,
                               static_cast<std::uint8_t>(service.running_status), service.free_CA_mode);
    if (added == nullptr || !addDescriptors(added, &dvbpsi_sdt_service_descriptor_add, service.descriptors))
      return nullptr;
  }
  return sdt.release();
}

}  // namespace vantor::thrift::dvb_tables
