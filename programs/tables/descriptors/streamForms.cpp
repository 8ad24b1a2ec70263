#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/generated.h"
#include "programs/tables/descriptors/layouts.h"

/// Descriptors of elementary streams and of conditional access.

namespace vantor::tables {

namespace {

// ---- ISO/IEC 13818-1 clause 2.6.16

std::string encodeCa(const JsonValue& json) {
  json.allowOnly({"CA_system_ID", "CA_PID", "private_data"});
  dvbpsi_ca_dr_t record{};
  record.i_ca_system_id = readNumber<std::uint16_t>(json, "CA_system_ID");
  record.i_ca_pid = readPidField(json, "CA_PID");
  const std::string data = readBytes(json, "private_data", sizeof record.i_private_data);
  record.i_private_length = static_cast<std::uint8_t>(data.size());
  fill(record.i_private_data, data);
  return generated(dvbpsi_GenCADr, record);
}

OrderedJson decodeCa(BitReader& from) {
  OrderedJson json{{"CA_system_ID", from.bits(16)}};
  from.bits(3);
  json["CA_PID"] = takePid(from);
  addBytes(json, "private_data", from.rest());
  return json;
}

// ---- ISO/IEC 13818-1 clause 2.6.18

constexpr std::size_t kLanguageEntrySize = 4;

std::string encodeLanguages(const JsonValue& json) {
  dvbpsi_iso639_dr_t record{};
  record.i_code_count = static_cast<std::uint8_t>(json.size());
  forEach(json, kMaxDescriptorData / kLanguageEntrySize, [&record](std::size_t i, const JsonValue& language) {
    language.allowOnly({kLanguageField, "audio_type"});
    fill(record.code[i].iso_639_code, readLanguage(language));
    record.code[i].i_audio_type = readNumber<std::uint8_t>(language, "audio_type");
  });
  return generated(dvbpsi_GenISO639Dr, record);
}

OrderedJson decodeLanguages(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    return OrderedJson{{kLanguageField, takeLanguage(entry)}, {"audio_type", entry.bits(8)}};
  });
}

// ---- EN 300 468 clause 6.2.39

std::string encodeStreamIdentifier(const JsonValue& json) {
  json.allowOnly({"component_tag"});
  dvbpsi_stream_identifier_dr_t record{};
  record.i_component_tag = readNumber<std::uint8_t>(json, "component_tag");
  return generated(dvbpsi_GenStreamIdentifierDr, record);
}

OrderedJson decodeStreamIdentifier(BitReader& from) { return {{"component_tag", from.bits(8)}}; }

// ---- EN 300 468 clauses 6.2.43 and 6.2.48

constexpr std::size_t kPageSize = 5;

/// The number as viewers know it is in hex: page 150 is 0x50 of magazine 1.
std::uint8_t readPageNumber(const JsonValue& page) {
  const JsonValue json = page.required("teletext_page_number");
  const std::string number = json.hexBytes(1);
  if (number.empty()) json.fail("\"\" is not two hex digits");
  return static_cast<std::uint8_t>(number.front());
}

std::string encodeTeletext(const JsonValue& json) {
  dvbpsi_teletext_dr_t record{};
  record.i_pages_number = static_cast<std::uint8_t>(json.size());
  forEach(json, kMaxDescriptorData / kPageSize, [&record](std::size_t i, const JsonValue& from) {
    from.allowOnly({kLanguageField, "teletext_type", "teletext_magazine_number", "teletext_page_number"});
    auto& page = record.p_pages[i];
    fill(page.i_iso6392_language_code, readLanguage(from));
    page.i_teletext_type = static_cast<std::uint8_t>(readNumber(from, "teletext_type", 5));
    page.i_teletext_magazine_number = static_cast<std::uint8_t>(readNumber(from, "teletext_magazine_number", 3));
    page.i_teletext_page_number = readPageNumber(from);
  });
  return generated(dvbpsi_GenTeletextDr, record);
}

OrderedJson decodeTeletext(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    return OrderedJson{{kLanguageField, takeLanguage(entry)},
                       {"teletext_type", entry.bits(5)},
                       {"teletext_magazine_number", entry.bits(3)},
                       {"teletext_page_number", hexDigits(std::string(entry.bytes(1)))}};
  });
}

// ---- EN 300 468 clause 6.2.41

constexpr std::size_t kSubtitleSize = 8;

std::string encodeSubtitling(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData / kSubtitleSize, [&to](std::size_t, const JsonValue& subtitle) {
    subtitle.allowOnly({kLanguageField, "subtitling_type", "composition_page_id", "ancillary_page_id"});
    to.bytes(readLanguage(subtitle));
    put(to, subtitle, "subtitling_type", 8);
    put(to, subtitle, "composition_page_id", 16);
    put(to, subtitle, "ancillary_page_id", 16);
  });
  return to.written();
}

OrderedJson decodeSubtitling(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    return OrderedJson{{kLanguageField, takeLanguage(entry)},
                       {"subtitling_type", entry.bits(8)},
                       {"composition_page_id", entry.bits(16)},
                       {"ancillary_page_id", entry.bits(16)}};
  });
}

// ---- EN 300 468 clause 6.2.47

constexpr std::size_t kMaxVbiLines = 255;

/// Lines of teletext, VPS, WSS, closed captions and samples; other services have bytes reserved for future use.
bool hasVbiLines(std::uint32_t service) { return service == 1 || service == 2 || (service >= 4 && service <= 7); }

std::string encodeVbiLines(const JsonValue& list) {
  BitWriter to;
  forEach(list, kMaxVbiLines, [&to](std::size_t, const JsonValue& line) {
    line.allowOnly({"field_parity", "line_offset"});
    to.reserved(2);
    putFlag(to, line, "field_parity");
    put(to, line, "line_offset", 5);
  });
  return to.written();
}

OrderedJson decodeVbiLines(BitReader& from) {
  BitReader lines(from.counted());
  return takeAll(lines, [](BitReader& line) {
    line.bits(2);
    return OrderedJson{{"field_parity", line.flag()}, {"line_offset", line.bits(5)}};
  });
}

std::string encodeVbiData(const JsonValue& json) {
  BitWriter to;
  forEach(json, kMaxDescriptorData / 2, [&to](std::size_t, const JsonValue& service) {
    const std::uint32_t id = readNumber(service, "data_service_id", 8);
    const char* const content = hasVbiLines(id) ? "lines" : "reserved";
    service.allowOnly({"data_service_id", content});
    to.bits(id, 8).counted(hasVbiLines(id) ? encodeVbiLines(service.required(content))
                                           : readBytes(service, content, kMaxDescriptorData));
  });
  return to.written();
}

OrderedJson decodeVbiData(BitReader& from) {
  return takeAll(from, [](BitReader& entry) {
    OrderedJson service{{"data_service_id", entry.bits(8)}};
    if (hasVbiLines(service["data_service_id"]))
      service["lines"] = decodeVbiLines(entry);
    else
      addBytes(service, "reserved", entry.counted());
    return service;
  });
}

// ---- EN 300 468 annex D.3

constexpr const char* kAc3Fields[] = {"component_type", "bsid", "mainid", "asvc"};
constexpr unsigned kAc3FieldCount = 4;
constexpr const char* kAdditionalInfo = "additional_info";

/// First a flag for each field that is there, then the fields.
std::string encodeAc3(const JsonValue& json) {
  json.allowOnly({kAc3Fields[0], kAc3Fields[1], kAc3Fields[2], kAc3Fields[3], kAdditionalInfo});
  BitWriter to;
  for (const char* const field : kAc3Fields) to.bits(json.optional(field) ? 1 : 0, 1);
  to.bits(0, 4);  // reserved_flags are zeros
  for (const char* const field : kAc3Fields)
    if (json.optional(field)) put(to, json, field, 8);
  return to.bytes(readBytes(json, kAdditionalInfo, kMaxDescriptorData - to.written().size())).written();
}

OrderedJson decodeAc3(BitReader& from) {
  OrderedJson json = OrderedJson::object();
  const std::uint32_t flags = from.bits(4);
  from.bits(4);
  for (unsigned i = 0; i < kAc3FieldCount; ++i)
    if ((flags >> (kAc3FieldCount - 1 - i) & 1) != 0) json[kAc3Fields[i]] = from.bits(8);
  addBytes(json, kAdditionalInfo, from.rest());
  return json;
}

// ---- EN 300 468 annex D.5

constexpr const char* kMixInfo = "mixinfoexists";
constexpr const char* kSubstreams[] = {"substream1", "substream2", "substream3"};
constexpr unsigned kSubstreamCount = 3;

std::string encodeEnhancedAc3(const JsonValue& json) {
  json.allowOnly({kAc3Fields[0], kAc3Fields[1], kAc3Fields[2], kAc3Fields[3], kMixInfo, kSubstreams[0],
                  kSubstreams[1], kSubstreams[2], kAdditionalInfo});
  BitWriter to;
  for (const char* const field : kAc3Fields) to.bits(json.optional(field) ? 1 : 0, 1);
  putFlag(to, json, kMixInfo);
  for (const char* const field : kSubstreams) to.bits(json.optional(field) ? 1 : 0, 1);
  for (const char* const field : kAc3Fields)
    if (json.optional(field)) put(to, json, field, 8);
  for (const char* const field : kSubstreams)
    if (json.optional(field)) put(to, json, field, 8);
  return to.bytes(readBytes(json, kAdditionalInfo, kMaxDescriptorData - to.written().size())).written();
}

OrderedJson decodeEnhancedAc3(BitReader& from) {
  OrderedJson json = OrderedJson::object();
  const std::uint32_t flags = from.bits(kAc3FieldCount);
  json[kMixInfo] = from.flag();
  const std::uint32_t substreams = from.bits(kSubstreamCount);
  for (unsigned i = 0; i < kAc3FieldCount; ++i)
    if ((flags >> (kAc3FieldCount - 1 - i) & 1) != 0) json[kAc3Fields[i]] = from.bits(8);
  for (unsigned i = 0; i < kSubstreamCount; ++i)
    if ((substreams >> (kSubstreamCount - 1 - i) & 1) != 0) json[kSubstreams[i]] = from.bits(8);
  addBytes(json, kAdditionalInfo, from.rest());
  return json;
}

// ---- EN 300 468 annex H.2

constexpr const char* kAacType = "AAC_type";

/// A payload of one byte says nothing of a type, one of two that there is none.
std::string encodeAac(const JsonValue& json) {
  json.allowOnly({"profile_and_level", "SAOC_DE_flag", kAacType, kAdditionalInfo});
  BitWriter to;
  put(to, json, "profile_and_level", 8);
  if (!json.optional("SAOC_DE_flag")) {
    for (const char* field : {kAacType, kAdditionalInfo})
      if (const auto given = json.optional(field)) given->fail("needs a SAOC_DE_flag before it");
    return to.written();
  }
  to.bits(json.optional(kAacType) ? 1 : 0, 1);
  putFlag(to, json, "SAOC_DE_flag");
  to.bits(0, 6);
  if (json.optional(kAacType)) put(to, json, kAacType, 8);
  return to.bytes(readBytes(json, kAdditionalInfo, kMaxDescriptorData - to.written().size())).written();
}

OrderedJson decodeAac(BitReader& from) {
  OrderedJson json{{"profile_and_level", from.bits(8)}};
  if (from.atEnd()) return json;
  const bool hasType = from.flag();
  json["SAOC_DE_flag"] = from.flag();
  from.bits(6);
  if (hasType) json[kAacType] = from.bits(8);
  addBytes(json, kAdditionalInfo, from.rest());
  return json;
}

// ---- EN 300 468 clauses 6.2.1, 6.2.2, 6.2.12 and 6.2.32, annexes G and H

constexpr LayoutField kScrambling[] = {number("scrambling_mode", 8)};
constexpr LayoutField kDataBroadcastId[] = {number("data_broadcast_id", 16), bytes("id_selector")};
constexpr LayoutField kAncillaryData[] = {number("ancillary_data_identifier", 8)};
constexpr LayoutField kAdaptationFieldData[] = {number("adaptation_field_data_identifier", 8)};
constexpr LayoutField kDts[] = {number("sample_rate_code", 4),
                                number("bit_rate_code", 6),
                                number("nblks", 7),
                                number("fsize", 14),
                                number("surround_mode", 6),
                                flag("lfe_flag"),
                                number("extended_surround_flag", 2),
                                bytes(kAdditionalInfo)};

// ---- TS 102 809 clause 5.3.5.1

constexpr LayoutField kApplicationSignalling[] = {reserved(1), number("application_type", 15), reserved(3),
                                                  number("AIT_version_number", 5)};

}  // namespace

DescriptorForms streamForms() {
  return {{kCaDescriptorTag, "CA", encodeCa, decodeCa},
          {0x0A, "ISO_639_language", encodeLanguages, decodeLanguages},
          {0x45, "VBI_data", encodeVbiData, decodeVbiData},
          {0x46, "VBI_teletext", encodeTeletext, decodeTeletext},
          {0x52, "stream_identifier", encodeStreamIdentifier, decodeStreamIdentifier},
          {0x56, "teletext", encodeTeletext, decodeTeletext},
          {0x59, "subtitling", encodeSubtitling, decodeSubtitling},
          fields<kScrambling>(0x65, "scrambling"),
          fields<kDataBroadcastId>(0x66, "data_broadcast_id"),
          {0x6A, "AC-3", encodeAc3, decodeAc3},
          fields<kAncillaryData>(0x6B, "ancillary_data"),
          loop<kApplicationSignalling>(0x6F, "application_signalling"),
          fields<kAdaptationFieldData>(0x70, "adaptation_field_data"),
          {0x7A, "enhanced_AC-3", encodeEnhancedAc3, decodeEnhancedAc3},
          fields<kDts>(0x7B, "DTS"),
          {0x7C, "AAC", encodeAac, decodeAac}};
}

}  // namespace vantor::tables
