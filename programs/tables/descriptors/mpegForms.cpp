#include <algorithm>

#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/layouts.h"

/// Descriptors of ISO/IEC 13818-1 and -6 that say how a program and its elementary streams are coded.

namespace vantor::tables {

namespace {

// ---- ISO/IEC 13818-1 clause 2.6.2

constexpr LayoutField kVideoStream[] = {flag("multiple_frame_rate_flag"), number("frame_rate_code", 4),
                                        flag("MPEG_1_only_flag"), flag("constrained_parameter_flag"),
                                        flag("still_picture_flag")};
constexpr const char* kMpeg1Only = "MPEG_1_only_flag";

std::string encodeVideoStream(const JsonValue& json) {
  json.allowOnly({"multiple_frame_rate_flag", "frame_rate_code", kMpeg1Only, "constrained_parameter_flag",
                  "still_picture_flag", "profile_and_level_indication", "chroma_format",
                  "frame_rate_extension_flag"});
  BitWriter to;
  putFlag(to, json, "multiple_frame_rate_flag");
  put(to, json, "frame_rate_code", 4);
  putFlag(to, json, kMpeg1Only);
  putFlag(to, json, "constrained_parameter_flag");
  putFlag(to, json, "still_picture_flag");
  if (readFlag(json, kMpeg1Only)) {
    for (const char* field : {"profile_and_level_indication", "chroma_format", "frame_rate_extension_flag"})
      if (const auto given = json.optional(field)) given->fail("MPEG-1 video has none");
    return to.written();
  }
  put(to, json, "profile_and_level_indication", 8);
  put(to, json, "chroma_format", 2);
  putFlag(to, json, "frame_rate_extension_flag");
  return to.reserved(5).written();
}

OrderedJson decodeVideoStream(BitReader& from) {
  OrderedJson json = decodeFields<kVideoStream>(from);
  if (json[kMpeg1Only] == true) return json;
  json["profile_and_level_indication"] = from.bits(8);
  json["chroma_format"] = from.bits(2);
  json["frame_rate_extension_flag"] = from.flag();
  from.bits(5);
  return json;
}

// ---- clauses 2.6.4 to 2.6.36

constexpr LayoutField kAudioStream[] = {flag("free_format_flag"), number("ID", 1), number("layer", 2),
                                        flag("variable_rate_audio_indicator"), reserved(3)};
constexpr LayoutField kHierarchy[] = {flag("no_view_scalability_flag"),
                                      flag("no_temporal_scalability_flag"),
                                      flag("no_spatial_scalability_flag"),
                                      flag("no_quality_scalability_flag"),
                                      number("hierarchy_type", 4),
                                      reserved(2),
                                      number("hierarchy_layer_index", 6),
                                      flag("tref_present_flag"),
                                      reserved(1),
                                      number("hierarchy_embedded_layer_index", 6),
                                      reserved(2),
                                      number("hierarchy_channel", 6)};
constexpr LayoutField kDataStreamAlignment[] = {number("alignment_type", 8)};
constexpr LayoutField kTargetBackgroundGrid[] = {number("horizontal_size", 14), number("vertical_size", 14),
                                                 number("aspect_ratio_information", 4)};
constexpr LayoutField kVideoWindow[] = {number("horizontal_offset", 14), number("vertical_offset", 14),
                                        number("window_priority", 4)};
constexpr LayoutField kSystemClock[] = {flag("external_clock_reference_indicator"), reserved(1),
                                        number("clock_accuracy_integer", 6), number("clock_accuracy_exponent", 3),
                                        reserved(5)};
constexpr LayoutField kMultiplexBufferUtilization[] = {flag("bound_valid_flag"),
                                                       number("LTW_offset_lower_bound", 15), reserved(1),
                                                       number("LTW_offset_upper_bound", 15)};
constexpr LayoutField kCopyright[] = {number("copyright_identifier", 32), bytes("additional_copyright_info")};
constexpr LayoutField kMaximumBitrate[] = {reserved(2), number("maximum_bitrate", 22)};
constexpr LayoutField kPrivateDataIndicator[] = {number("private_data_indicator", 32)};
constexpr LayoutField kSmoothingBuffer[] = {reserved(2), number("sb_leak_rate", 22), reserved(2),
                                            number("sb_size", 22)};
constexpr LayoutField kStd[] = {reserved(7), flag("leak_valid_flag")};
constexpr LayoutField kIbp[] = {flag("closed_gop_flag"), flag("identical_gop_flag"), number("max_gop-length", 14)};
constexpr LayoutField kMpeg4Video[] = {number("MPEG-4_visual_profile_and_level", 8)};
constexpr LayoutField kMpeg4Audio[] = {number("MPEG-4_audio_profile_and_level", 8)};
constexpr LayoutField kAvcVideo[] = {number("profile_idc", 8),
                                     flag("constraint_set0_flag"),
                                     flag("constraint_set1_flag"),
                                     flag("constraint_set2_flag"),
                                     flag("constraint_set3_flag"),
                                     flag("constraint_set4_flag"),
                                     flag("constraint_set5_flag"),
                                     number("AVC_compatible_flags", 2),
                                     number("level_idc", 8),
                                     flag("AVC_still_present"),
                                     flag("AVC_24_hour_picture_flag"),
                                     flag("Frame_Packing_SEI_not_present_flag"),
                                     reserved(5)};
constexpr LayoutField kAacAudio[] = {number("MPEG-2_AAC_profile", 8), number("MPEG-2_AAC_channel_configuration", 8),
                                     number("MPEG-2_AAC_additional_information", 8)};

// ---- clause 2.6.8

constexpr const char* kFormatIdentifier = "format_identifier";
constexpr std::size_t kFormatSize = 4;

bool isFormatName(std::string_view name) {
  return name.size() == kFormatSize &&
         std::all_of(name.begin(), name.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

/// Four characters where it has them, like "GA94", else a number.
std::string encodeRegistration(const JsonValue& json) {
  json.allowOnly({kFormatIdentifier, "additional_identification_info"});
  const JsonValue format = json.required(kFormatIdentifier);
  BitWriter to;
  if (!format.isString())
    put(to, json, kFormatIdentifier, 8 * kFormatSize);
  else if (isFormatName(format.string()))
    to.bytes(format.string());
  else
    format.fail(format.shown() + " is neither four printable characters nor a number");
  return to.bytes(readBytes(json, "additional_identification_info", kMaxDescriptorData)).written();
}

OrderedJson decodeRegistration(BitReader& from) {
  const std::string_view name = from.bytes(kFormatSize);
  BitReader code(name);
  OrderedJson json;
  if (isFormatName(name))
    json[kFormatIdentifier] = std::string(name);
  else
    json[kFormatIdentifier] = code.bits(8 * kFormatSize);
  addBytes(json, "additional_identification_info", from.rest());
  return json;
}

// ---- ISO/IEC 13818-6 clause 11.4, with the fields of ETSI TR 101 202 clause 4.7.7.1

constexpr std::uint32_t kEnhancedBoot = 1;
constexpr LayoutField kCarouselModule[] = {number("ModuleVersion", 8),     number("ModuleId", 16),
                                           number("BlockSize", 16),        number("ModuleSize", 32),
                                           number("CompressionMethod", 8), number("OriginalSize", 32),
                                           number("TimeOut", 8),           countedBytes("ObjectKeyData")};

std::string encodeCarousel(const JsonValue& json) {
  json.allowOnly({"carousel_id", "FormatID", "FormatSpecifier", "private_data"});
  const std::uint32_t format = readNumber(json, "FormatID", 8);
  BitWriter to;
  put(to, json, "carousel_id", 32);
  to.bits(format, 8);
  if (format == kEnhancedBoot)
    putFields(to, json.required("FormatSpecifier"), std::begin(kCarouselModule), std::end(kCarouselModule));
  else if (const auto given = json.optional("FormatSpecifier"))
    given->fail("only FormatID 1 has one");
  return to.bytes(readBytes(json, "private_data", kMaxDescriptorData)).written();
}

OrderedJson decodeCarousel(BitReader& from) {
  OrderedJson json{{"carousel_id", from.bits(32)}, {"FormatID", from.bits(8)}};
  if (json["FormatID"] == kEnhancedBoot) json["FormatSpecifier"] = decodeFields<kCarouselModule>(from);
  addBytes(json, "private_data", from.rest());
  return json;
}

// ---- ISO/IEC 13818-6 clause 11.4.1

constexpr LayoutField kAssociationTag[] = {number("association_tag", 16), number("use", 16),
                                           countedBytes("selector"), bytes("private_data")};

}  // namespace

DescriptorForms mpegForms() {
  return {{0x02, "video_stream", encodeVideoStream, decodeVideoStream},
          fields<kAudioStream>(0x03, "audio_stream"),
          fields<kHierarchy>(0x04, "hierarchy"),
          {0x05, "registration", encodeRegistration, decodeRegistration},
          fields<kDataStreamAlignment>(0x06, "data_stream_alignment"),
          fields<kTargetBackgroundGrid>(0x07, "target_background_grid"),
          fields<kVideoWindow>(0x08, "video_window"),
          fields<kSystemClock>(0x0B, "system_clock"),
          fields<kMultiplexBufferUtilization>(0x0C, "multiplex_buffer_utilization"),
          fields<kCopyright>(0x0D, "copyright"),
          fields<kMaximumBitrate>(0x0E, "maximum_bitrate"),
          fields<kPrivateDataIndicator>(0x0F, "private_data_indicator"),
          fields<kSmoothingBuffer>(0x10, "smoothing_buffer"),
          fields<kStd>(0x11, "STD"),
          fields<kIbp>(0x12, "IBP"),
          {0x13, "carousel_identifier", encodeCarousel, decodeCarousel},
          fields<kAssociationTag>(0x14, "association_tag"),
          fields<kMpeg4Video>(0x1B, "MPEG-4_video"),
          fields<kMpeg4Audio>(0x1C, "MPEG-4_audio"),
          fields<kAvcVideo>(0x28, "AVC_video"),
          fields<kAacAudio>(0x2B, "MPEG-2_AAC_audio")};
}

}  // namespace vantor::tables
