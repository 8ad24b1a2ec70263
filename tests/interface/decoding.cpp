#include "tests/interface/decoding.h"

#include <algorithm>
#include <array>
#include <memory>

using namespace vantor::thrift::dvb_tables;

namespace {

using Handle = std::unique_ptr<dvbpsi_t, decltype(&dvbpsi_delete)>;

Handle newHandle() { return {dvbpsi_new(nullptr, DVBPSI_MSG_NONE), &dvbpsi_delete}; }

/// Each section in packets of its own.
void push(dvbpsi_t* handle, const std::vector<Bytes>& sections) {
  std::uint8_t counter = 0;
  for (const Bytes& section : sections) {
    Bytes payload{0};  // pointer_field
    payload.insert(payload.end(), section.begin(), section.end());
    for (std::size_t at = 0; at < payload.size(); at += 184) {
      std::array<std::uint8_t, 188> packet;
      packet.fill(0xFF);
      packet[0] = 0x47;
      packet[1] = at == 0 ? 0x40 : 0x00;
      packet[2] = 0x10;
      packet[3] = static_cast<std::uint8_t>(0x10 | (counter++ & 0x0F));
      const std::size_t size = std::min<std::size_t>(184, payload.size() - at);
      std::copy_n(&payload[at], size, &packet[4]);
      dvbpsi_packet_push(handle, packet.data());
    }
  }
}

Descriptors recordOf(const dvbpsi_descriptor_t* descriptor) {
  Descriptors descriptors;
  for (; descriptor != nullptr; descriptor = descriptor->p_next) {
    descriptors.emplace_back();
    descriptors.back().tag = descriptor->i_tag;
    descriptors.back().data.assign(descriptor->p_data, descriptor->p_data + descriptor->i_length);
  }
  return descriptors;
}

void takePat(void* result, dvbpsi_pat_t* pat) {
  PAT record;
  record.transport_stream_id = pat->i_ts_id;
  record.version_number = pat->i_version;
  record.current_next_indicator = pat->b_current_next;
  for (const auto* program = pat->p_first_program; program != nullptr; program = program->p_next) {
    record.programs.emplace_back();
    record.programs.back().program_number = program->i_number;
    record.programs.back().pid = program->i_pid;
  }
  *static_cast<std::optional<PAT>*>(result) = record;
  dvbpsi_pat_delete(pat);
}

void takeCat(void* result, dvbpsi_cat_t* cat) {
  CAT record;
  record.version_number = cat->i_version;
  record.current_next_indicator = cat->b_current_next;
  record.descriptors = recordOf(cat->p_first_descriptor);
  *static_cast<std::optional<CAT>*>(result) = record;
  dvbpsi_cat_delete(cat);
}

void takeNit(void* result, dvbpsi_nit_t* nit) {
  NIT record;
  record.network_id = nit->i_network_id;
  record.version_number = nit->i_version;
  record.current_next_indicator = nit->b_current_next;
  record.descriptors = recordOf(nit->p_first_descriptor);
  for (const auto* stream = nit->p_first_ts; stream != nullptr; stream = stream->p_next) {
    record.transport_streams.emplace_back();
    record.transport_streams.back().transport_stream_id = stream->i_ts_id;
    record.transport_streams.back().original_network_id = stream->i_orig_network_id;
    record.transport_streams.back().descriptors = recordOf(stream->p_first_descriptor);
  }
  *static_cast<std::optional<NIT>*>(result) = record;
  dvbpsi_nit_delete(nit);
}

void takePmt(void* result, dvbpsi_pmt_t* pmt) {
  PMT record;
  record.program_number = pmt->i_program_number;
  record.version_number = pmt->i_version;
  record.current_next_indicator = pmt->b_current_next;
  record.pcr_pid = pmt->i_pcr_pid;
  record.descriptors = recordOf(pmt->p_first_descriptor);
  for (const auto* stream = pmt->p_first_es; stream != nullptr; stream = stream->p_next) {
    record.streams.emplace_back();
    record.streams.back().stream_type = stream->i_type;
    record.streams.back().elementary_pid = stream->i_pid;
    record.streams.back().descriptors = recordOf(stream->p_first_descriptor);
  }
  *static_cast<std::optional<PMT>*>(result) = record;
  dvbpsi_pmt_delete(pmt);
}

void takeSdt(void* result, dvbpsi_sdt_t* sdt) {
  SDT record;
  record.transport_stream_id = sdt->i_extension;
  record.original_network_id = sdt->i_network_id;
  record.version_number = sdt->i_version;
  record.current_next_indicator = sdt->b_current_next;
  for (const auto* service = sdt->p_first_service; service != nullptr; service = service->p_next) {
    record.services.emplace_back();
    record.services.back().service_id = service->i_service_id;
    record.services.back().EIT_schedule_flag = service->b_eit_schedule;
    record.services.back().EIT_present_following_flag = service->b_eit_present;
    record.services.back().running_status = service->i_running_status;
    record.services.back().free_CA_mode = service->b_free_ca;
    record.services.back().descriptors = recordOf(service->p_first_descriptor);
  }
  *static_cast<std::optional<SDT>*>(result) = record;
  dvbpsi_sdt_delete(sdt);
}

void takeEit(void* result, dvbpsi_eit_t* eit) {
  EIT record;
  record.table_id = eit->i_table_id;
  record.service_id = eit->i_extension;
  record.version_number = eit->i_version;
  record.current_next_indicator = eit->b_current_next;
  record.transport_stream_id = eit->i_ts_id;
  record.original_network_id = eit->i_network_id;
  record.__set_last_table_id(eit->i_last_table_id);
  for (const auto* event = eit->p_first_event; event != nullptr; event = event->p_next) {
    record.events.emplace_back();
    record.events.back().event_id = event->i_event_id;
    record.events.back().start_time = static_cast<std::int64_t>(event->i_start_time);
    record.events.back().duration = static_cast<std::int32_t>(event->i_duration);
    record.events.back().running_status = event->i_running_status;
    record.events.back().free_CA_mode = event->b_free_ca;
    record.events.back().descriptors = recordOf(event->p_first_descriptor);
  }
  *static_cast<std::optional<EIT>*>(result) = record;
  dvbpsi_eit_delete(eit);
}

void takeMgt(void* result, dvbpsi_atsc_mgt_t* mgt) {
  MGT record;
  record.version_number = mgt->i_version;
  record.current_next_indicator = mgt->b_current_next;
  record.protocol_version = mgt->i_protocol;
  for (const auto* table = mgt->p_first_table; table != nullptr; table = table->p_next) {
    record.tables.emplace_back();
    record.tables.back().table_type = table->i_table_type;
    record.tables.back().table_type_pid = table->i_table_type_pid;
    record.tables.back().table_type_version_number = table->i_table_type_version;
    record.tables.back().number_bytes = table->i_number_bytes;
    record.tables.back().descriptors = recordOf(table->p_first_descriptor);
  }
  *static_cast<std::optional<MGT>*>(result) = record;
  dvbpsi_atsc_DeleteMGT(mgt);
}

void appendUtf8(std::string& text, std::uint32_t point) {
  const auto put = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) return put(point);
  if (point < 0x800) {
    put(0xC0 | point >> 6);
  } else if (point < 0x10000) {
    put(0xE0 | point >> 12);
    put(0x80 | (point >> 6 & 0x3F));
  } else {
    put(0xF0 | point >> 18);
    put(0x80 | (point >> 12 & 0x3F));
    put(0x80 | (point >> 6 & 0x3F));
  }
  put(0x80 | (point & 0x3F));
}

std::string shortNameOf(const std::uint8_t (&name)[14]) {
  std::string text;
  for (std::size_t i = 0; i < sizeof name; i += 2) {
    std::uint32_t unit = static_cast<std::uint32_t>(name[i] << 8 | name[i + 1]);
    if (unit == 0) break;
    if (unit >> 10 == 0x36) {  // the first of a surrogate pair
      i += 2;
      unit = 0x10000 + ((unit & 0x3FF) << 10) + static_cast<std::uint32_t>((name[i] & 3) << 8 | name[i + 1]);
    }
    appendUtf8(text, unit);
  }
  return text;
}

void takeVct(void* result, dvbpsi_atsc_vct_t* vct) {
  VCT record;
  record.table_id = vct->i_table_id;
  record.transport_stream_id = vct->i_extension;
  record.version_number = vct->i_version;
  record.current_next_indicator = vct->b_current_next;
  record.protocol_version = vct->i_protocol;
  for (const auto* channel = vct->p_first_channel; channel != nullptr; channel = channel->p_next) {
    VCTChannel& to = record.channels.emplace_back();
    to.short_name = shortNameOf(channel->i_short_name);
    to.major_channel_number = static_cast<std::int16_t>(channel->i_major_number);
    to.minor_channel_number = static_cast<std::int16_t>(channel->i_minor_number);
    to.modulation_mode = channel->i_modulation;
    to.carrier_frequency = channel->i_carrier_freq;
    to.channel_TSID = channel->i_channel_tsid;
    to.program_number = channel->i_program_number;
    to.ETM_location = channel->i_etm_location;
    to.access_controlled = channel->b_access_controlled;
    to.hidden = channel->b_hidden;
    // The decoder takes a terrestrial table's reserved bits for these two.
    to.path_select = vct->b_cable_vct && channel->b_path_select;
    to.out_of_band = vct->b_cable_vct && channel->b_out_of_band;
    to.hide_guide = channel->b_hide_guide;
    to.service_type = channel->i_service_type;
    to.source_id = channel->i_source_id;
    to.descriptors = recordOf(channel->p_first_descriptor);
  }
  record.descriptors = recordOf(vct->p_first_descriptor);
  *static_cast<std::optional<VCT>*>(result) = record;
  dvbpsi_atsc_DeleteVCT(vct);
}

void attachMgt(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  dvbpsi_atsc_AttachMGT(handle, tableId, extension, &takeMgt, result);
}

void attachVct(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  dvbpsi_atsc_AttachVCT(handle, tableId, extension, &takeVct, result);
}

void attachNit(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  dvbpsi_nit_attach(handle, tableId, extension, &takeNit, result);
}

void attachSdt(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  dvbpsi_sdt_attach(handle, tableId, extension, &takeSdt, result);
}

void attachEit(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  dvbpsi_eit_attach(handle, tableId, extension, &takeEit, result);
}

template <typename Record>
std::optional<Record> demuxed(const std::vector<Bytes>& sections, dvbpsi_demux_new_cb_t attach) {
  std::optional<Record> result;
  const Handle handle = newHandle();
  dvbpsi_AttachDemux(handle.get(), attach, &result);
  push(handle.get(), sections);
  dvbpsi_DetachDemux(handle.get());
  return result;
}

}  // namespace

std::optional<PAT> decodedPat(const std::vector<Bytes>& sections) {
  std::optional<PAT> result;
  const Handle handle = newHandle();
  dvbpsi_pat_attach(handle.get(), &takePat, &result);
  push(handle.get(), sections);
  dvbpsi_pat_detach(handle.get());
  return result;
}

std::optional<CAT> decodedCat(const std::vector<Bytes>& sections) {
  std::optional<CAT> result;
  const Handle handle = newHandle();
  dvbpsi_cat_attach(handle.get(), &takeCat, &result);
  push(handle.get(), sections);
  dvbpsi_cat_detach(handle.get());
  return result;
}

std::optional<PMT> decodedPmt(const std::vector<Bytes>& sections) {
  std::optional<PMT> result;
  const Handle handle = newHandle();
  dvbpsi_pmt_attach(handle.get(), static_cast<std::uint16_t>(extension(sections.at(0))), &takePmt, &result);
  push(handle.get(), sections);
  dvbpsi_pmt_detach(handle.get());
  return result;
}

std::optional<MGT> decodedMgt(const std::vector<Bytes>& sections) { return demuxed<MGT>(sections, &attachMgt); }
std::optional<VCT> decodedVct(const std::vector<Bytes>& sections) { return demuxed<VCT>(sections, &attachVct); }
std::optional<NIT> decodedNit(const std::vector<Bytes>& sections) { return demuxed<NIT>(sections, &attachNit); }
std::optional<SDT> decodedSdt(const std::vector<Bytes>& sections) { return demuxed<SDT>(sections, &attachSdt); }
std::optional<EIT> decodedEit(const std::vector<Bytes>& sections) {
  std::vector<Bytes> rounds = sections;
  rounds.insert(rounds.end(), sections.begin(), sections.end());
  return demuxed<EIT>(rounds, &attachEit);
}
