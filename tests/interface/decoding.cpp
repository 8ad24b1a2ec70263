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

void attachNit(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  dvbpsi_nit_attach(handle, tableId, extension, &takeNit, result);
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

std::optional<NIT> decodedNit(const std::vector<Bytes>& sections) {
  std::optional<NIT> result;
  const Handle handle = newHandle();
  dvbpsi_AttachDemux(handle.get(), &attachNit, &result);
  push(handle.get(), sections);
  dvbpsi_DetachDemux(handle.get());
  return result;
}
