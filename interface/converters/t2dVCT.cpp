#include "interface/converters/t2dVCT.h"

#include "interface/converters/atscTables.h"
#include "interface/converters/owned.h"
#include "interface/converters/utf16.h"
#include "interface/psi/tableIds.h"

namespace vantor::thrift::dvb_tables {

namespace {

bool isShortName(const Field& field, const std::string& name) {
  const auto units = utf16Of(name);
  if (!units) return field.refuse("is not UTF-8");
  return units->size() <= kShortNameUnits ||
         field.refuse('"' + name + '"', "has " + std::to_string(units->size()) + " UTF-16 code units, more than " +
                                            std::to_string(kShortNameUnits));
}

bool fitsSections(const Field& vct, const VCT& record) {
  SectionCount sections(kVctRoom);
  for (std::size_t i = 0; i < record.channels.size(); ++i)
    if (!sections.add(vct.element("channels", i), record.channels[i].descriptors)) return false;
  for (const Descriptor& descriptor : record.descriptors) sections.add(wireSize(descriptor));
  return fitsSectionCount(vct, sections.count());
}

bool canBeSent(const Field& field, const VCTChannel& channel) {
  return isShortName(field["short_name"], channel.short_name) &&
         inRange(field["major_channel_number"], channel.major_channel_number, kMax10Bits) &&
         inRange(field["minor_channel_number"], channel.minor_channel_number, kMax10Bits) &&
         inRange(field["modulation_mode"], channel.modulation_mode, kMax8Bits) &&
         inRange(field["carrier_frequency"], channel.carrier_frequency, kMax32Bits) &&
         inRange(field["channel_TSID"], channel.channel_TSID, kMax16Bits) &&
         inRange(field["program_number"], channel.program_number, kMax16Bits) &&
         inRange(field["ETM_location"], channel.ETM_location, kMax2Bits) &&
         inRange(field["service_type"], channel.service_type, kMax6Bits) &&
         inRange(field["source_id"], channel.source_id, kMax16Bits) &&
         areDescriptors(field, "descriptors", channel.descriptors);
}

bool canBeSent(const Field& vct, const VCT& record) {
  if (record.table_id != kTerrestrialVctTableId && record.table_id != kCableVctTableId)
    return vct["table_id"].refuse(
        std::to_string(record.table_id),
        "is neither " + hex(kTerrestrialVctTableId) + ", terrestrial, nor " + hex(kCableVctTableId) + ", cable");
  if (!inRange(vct["transport_stream_id"], record.transport_stream_id, kMax16Bits)) return false;
  if (!isVersion(vct["version_number"], record.version_number)) return false;
  if (!inRange(vct["protocol_version"], record.protocol_version, kMax8Bits)) return false;
  for (std::size_t i = 0; i < record.channels.size(); ++i)
    if (!canBeSent(vct.element("channels", i), record.channels[i])) return false;
  return areDescriptors(vct, "descriptors", record.descriptors) && fitsSections(vct, record);
}

void setShortName(dvbpsi_atsc_vct_channel_t& channel, const std::string& name) {
  std::uint8_t* to = channel.i_short_name;
  for (const char16_t unit : utf16Of(name).value_or(u"")) {
    *to++ = static_cast<std::uint8_t>(unit >> 8);
    *to++ = static_cast<std::uint8_t>(unit);
  }
}

void setFields(dvbpsi_atsc_vct_channel_t& to, const VCTChannel& channel) {
  setShortName(to, channel.short_name);
  to.i_major_number = static_cast<std::uint16_t>(channel.major_channel_number);
  to.i_minor_number = static_cast<std::uint16_t>(channel.minor_channel_number);
  to.i_modulation = static_cast<std::uint8_t>(channel.modulation_mode);
  to.i_carrier_freq = static_cast<std::uint32_t>(channel.carrier_frequency);
  to.i_channel_tsid = static_cast<std::uint16_t>(channel.channel_TSID);
  to.i_program_number = static_cast<std::uint16_t>(channel.program_number);
  to.i_etm_location = static_cast<std::uint8_t>(channel.ETM_location);
  to.b_access_controlled = channel.access_controlled;
  to.b_path_select = channel.path_select;
  to.b_out_of_band = channel.out_of_band;
  to.b_hidden = channel.hidden;
  to.b_hide_guide = channel.hide_guide;
  to.i_service_type = static_cast<std::uint8_t>(channel.service_type);
  to.i_source_id = static_cast<std::uint16_t>(channel.source_id);
}

}  // namespace

std::optional<Refusal> check(const VCT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_atsc_vct_t* t2dVCT(const VCT& record) {
  if (isRefused("VCT", check(record))) return nullptr;
  VctTable vct(dvbpsi_atsc_NewVCT(
      static_cast<std::uint8_t>(record.table_id), static_cast<std::uint16_t>(record.transport_stream_id),
      static_cast<std::uint8_t>(record.protocol_version), record.table_id == kCableVctTableId,
      versionByte(record.version_number), record.current_next_indicator));
  if (!vct) return nullptr;
  dvbpsi_atsc_vct_channel_t** end = &vct->p_first_channel;
  for (const VCTChannel& channel : record.channels) {
    dvbpsi_atsc_vct_channel_t* const added = appendNode(end);
    if (added == nullptr) return nullptr;
    setFields(*added, channel);
    if (!addDescriptors(added, &addDescriptor<dvbpsi_atsc_vct_channel_t>, channel.descriptors)) return nullptr;
  }
  if (!addDescriptors(vct.get(), &addDescriptor<dvbpsi_atsc_vct_t>, record.descriptors)) return nullptr;
  return vct.release();
}

}  // namespace vantor::thrift::dvb_tables
