#pragma once

#include <algorithm>
#include <string>

#include "interface/dvbpsi.h"
#include "interface/records.h"

/// A section with the long header, as libdvbpsi writes it.
inline std::string makeWholeSection(int table_id, int extension, int version, int number = 0, int last = 0,
                                    std::size_t payload = 20, char fill = 'x') {
  constexpr std::size_t kHeader = 8;
  constexpr std::size_t kCrc = 4;
  dvbpsi_psi_section_t* const section = dvbpsi_NewPSISection(static_cast<int>(kHeader + payload + kCrc));
  section->i_table_id = static_cast<std::uint8_t>(table_id);
  section->b_syntax_indicator = true;
  section->b_private_indicator = true;
  section->i_length = static_cast<std::uint16_t>(kHeader - 3 + payload + kCrc);
  section->i_extension = static_cast<std::uint16_t>(extension);
  section->i_version = static_cast<std::uint8_t>(version);
  section->b_current_next = true;
  section->i_number = static_cast<std::uint8_t>(number);
  section->i_last_number = static_cast<std::uint8_t>(last);
  section->p_payload_end = section->p_data + kHeader + payload;
  std::fill_n(section->p_data + kHeader, payload, static_cast<std::uint8_t>(fill));
  dvbpsi_t* const handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
  dvbpsi_BuildPSISection(handle, section);
  dvbpsi_delete(handle);
  const std::string bytes(reinterpret_cast<const char*>(section->p_data), kHeader + payload + kCrc);
  dvbpsi_DeletePSISections(section);
  return bytes;
}

/// A table of whole sections with `payload` bytes each.
inline vantor::thrift::dvb_tables::Sections makeSections(int pid, int table_id, int extension, int version,
                                                         int sections = 1, std::size_t payload = 20) {
  vantor::thrift::dvb_tables::Sections record;
  record.pid = pid;
  record.period = 1000;
  for (int i = 0; i < sections; ++i)
    record.sections.push_back(makeWholeSection(table_id, extension, version, i, sections - 1, payload));
  return record;
}

/// A section without the section_syntax_indicator.
inline std::string makeShortSection(int table_id, const std::string& payload) {
  return std::string{static_cast<char>(table_id), static_cast<char>(0x70 | payload.size() >> 8),
                     static_cast<char>(payload.size())} +
         payload;
}
