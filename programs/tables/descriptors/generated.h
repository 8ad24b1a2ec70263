#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "interface/dvbpsi.h"

/// Payloads out of libdvbpsi's descriptor generators.
///
/// Only those are in use that write every payload that the standard allows, and rightly (measured with 1.3.3). Of
/// the others extended_event writes items over their own lengths, parental_rating leaves gaps and goes beyond its
/// buffer, VBI_data has a wrong data_service_id, cable_delivery_system and logical_channel have zeros in reserved
/// bits, linkage loses the private data behind an initial_service_id, component has no stream_content_ext, and
/// service_list, content and subtitling have room for fewer entries than a descriptor.

namespace vantor::tables {

template <typename Record>
std::string generated(dvbpsi_descriptor_t* (*generate)(Record*, bool), Record& record) {
  const std::unique_ptr<dvbpsi_descriptor_t, void (*)(dvbpsi_descriptor_t*)> descriptor(generate(&record, false),
                                                                                        dvbpsi_DeleteDescriptors);
  if (!descriptor) throw std::bad_alloc();
  return {reinterpret_cast<const char*>(descriptor->p_data), descriptor->i_length};
}

/// Copies bytes into an array of a record. That they fit is for the caller to see to.
template <std::size_t Size>
void fill(std::uint8_t (&array)[Size], std::string_view bytes) {
  if (bytes.size() > Size) throw std::length_error("a descriptor's field is too long for libdvbpsi");
  std::copy(bytes.begin(), bytes.end(), array);
}

}  // namespace vantor::tables
