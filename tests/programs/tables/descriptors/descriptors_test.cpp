#include "programs/tables/descriptors/descriptors.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/parseJson.h"

namespace vantor::tables::descriptors_test {
namespace {

using namespace std::string_literals;

/// A descriptor as it is given in JSON, with its tag and payload as they lie on the wire.
struct Example {
  std::string json;
  int tag;
  std::string hex;
};

void PrintTo(const Example& example, std::ostream* to) { *to << example.json; }

std::string repeated(const std::string& text, std::size_t times) {
  std::string out;
  for (; times > 0; --times) out += text;
  return out;
}

thrift::dvb_tables::Descriptor readOne(const std::string& json) {
  const Json document = parseJson(R"({"descriptors": [)" + json + "]}");
  return readDescriptors(JsonValue(document)).at(0);
}

std::string errorOf(const std::string& json) {
  try {
    readOne(json);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

/// The error within the descriptor: without "/descriptors/0/NAME".
std::string errorIn(const std::string& name, const std::string& fields) {
  const std::string error = errorOf("{\"" + name + "\": " + fields + "}");
  const std::string place = "/descriptors/0/" + name;
  return error.substr(0, place.size()) == place ? error.substr(place.size()) : error;
}

thrift::dvb_tables::Descriptor made(int tag, const std::string& data) {
  thrift::dvb_tables::Descriptor descriptor;
  descriptor.tag = static_cast<std::int16_t>(tag);
  descriptor.data = data;
  return descriptor;
}

/// The last of these descriptors as it is written among them.
OrderedJson writeLast(const Descriptors& descriptors, Family family = Family::kDvb) {
  OrderedJson owner;
  writeDescriptors(descriptors, owner, family);
  return owner["descriptors"].back();
}

const std::string kEacem("\0\0\0\x28", 4);

/// Where its tag has a meaning: behind EACEM's private_data_specifier, or in a table of ATSC.
OrderedJson writeOne(int tag, const std::string& data) {
  const OrderedJson json = writeLast({made(0x5F, kEacem), made(tag, data)});
  return json.contains("tag") ? writeLast({made(tag, data)}, Family::kAtsc) : json;
}

std::string bytesOf(const std::string& hex) {
  const Json json = hex;
  return JsonValue(json).hexBytes(hex.size());
}

std::string written(int tag, const std::string& hex) { return writeOne(tag, bytesOf(hex)).dump(); }

std::string raw(int tag, const std::string& hex) {
  return R"({"tag":)" + std::to_string(tag) + R"(,"data":")" + hex + "\"}";
}

class DescriptorForms : public ::testing::TestWithParam<Example> {};

TEST_P(DescriptorForms, AreReadToTheBytesOfTheStandard) {
  const auto descriptor = readOne(GetParam().json);
  EXPECT_EQ(descriptor.tag, GetParam().tag);
  EXPECT_EQ(hexDigits(descriptor.data), GetParam().hex);
}

TEST_P(DescriptorForms, AreWrittenForTheBytesOfTheStandard) {
  EXPECT_EQ(written(GetParam().tag, GetParam().hex), OrderedJson::parse(GetParam().json).dump());
}

TEST_P(DescriptorForms, GiveWayToHexWhereThePayloadIsCutShort) {
  const std::string data = bytesOf(GetParam().hex);
  for (std::size_t size = 0; size < data.size(); ++size) {
    // In a buffer of its own, so that reading beyond the end would be seen.
    const std::string cut(data.data(), size);
    const OrderedJson json = writeOne(GetParam().tag, cut);
    const auto descriptor = readOne(json.dump());
    EXPECT_EQ(descriptor.tag, GetParam().tag);
    EXPECT_EQ(descriptor.data, cut) << json;
  }
}

TEST_P(DescriptorForms, LoseNoBitOfAPayload) {
  std::string data = bytesOf(GetParam().hex);
  const std::size_t step =
      1 + data.size() / 16;  // every bit of the short ones, some of those that repeat themselves
  for (std::size_t bit = 0; bit < 8 * data.size(); bit += step) {
    const char before = data[bit / 8];
    data[bit / 8] = static_cast<char>(static_cast<unsigned char>(before) ^ 1U << bit % 8);
    const OrderedJson json = writeOne(GetParam().tag, data);
    EXPECT_EQ(readOne(json.dump()).data, data) << json;
    data[bit / 8] = before;
  }
}

INSTANTIATE_TEST_SUITE_P(
    OfNetworks, DescriptorForms,
    ::testing::Values(Example{R"({"network_name": {"name": "Net"}})", 0x40, "4e6574"},
                      Example{R"({"network_name": {"name": ""}})", 0x40, ""},
                      Example{R"({"network_name": {"name": ")" + repeated("n", 255) + "\"}}", 0x40,
                              repeated("6e", 255)},
                      Example{R"({"bouquet_name": {"name": "Bou"}})", 0x47, "426f75"},
                      Example{R"({"service_list": [{"service_id": 4660, "service_type": 1},
                                     {"service_id": 65535, "service_type": 25}]})",
                              0x41, "123401ffff19"},
                      Example{R"({"service_list": []})", 0x41, ""},
                      Example{R"({"service_list": [)" + repeated(R"({"service_id": 258, "service_type": 3},)", 84) +
                                  R"({"service_id": 258, "service_type": 3}]})",
                              0x41, repeated("010203", 85)},
                      Example{R"({"linkage": {"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                "linkage_type": 4}})",
                              0x4A, "00010002000304"},
                      Example{R"({"linkage": {"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                "linkage_type": 9, "private_data": "0706"}})",
                              0x4A, "000100020003090706"},
                      Example{R"({"linkage": {"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                "linkage_type": 8,
                                "mobile_hand-over_info": {"hand-over_type": 2, "origin_type": 0,
                                                          "network_id": 4369, "initial_service_id": 8738},
                                "private_data": "0706"}})",
                              0x4A, "000100020003082e111122220706"},
                      Example{R"({"linkage": {"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                "linkage_type": 8,
                                "mobile_hand-over_info": {"hand-over_type": 0, "origin_type": 0,
                                                          "initial_service_id": 8738},
                                "private_data": "0706"}})",
                              0x4A, "000100020003080e22220706"},
                      Example{R"({"linkage": {"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                "linkage_type": 8,
                                "mobile_hand-over_info": {"hand-over_type": 3, "origin_type": 1,
                                                          "network_id": 4369}}})",
                              0x4A, "000100020003083f1111"},
                      Example{R"({"linkage": {"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                "linkage_type": 13,
                                "event_linkage_info": {"target_event_id": 13107, "target_listed": true,
                                                       "event_simulcast": false},
                                "private_data": "ff"}})",
                              0x4A, "0001000200030d3333bfff"},
                      Example{R"({"logical_channel": [{"service_id": 4660, "visible_service_flag": true,
                                         "logical_channel_number": 1023},
                                        {"service_id": 1, "visible_service_flag": false,
                                         "logical_channel_number": 1}]})",
                              0x83, "1234ffff00017c01"}));

INSTANTIATE_TEST_SUITE_P(
    OfDeliverySystems, DescriptorForms,
    ::testing::Values(Example{R"({"satellite_delivery_system": {"frequency": 11757250000, "orbital_position": 192,
                    "west_east_flag": true, "polarization": 2, "roll_off": 1, "modulation_system": 1,
                    "modulation_type": 2, "symbol_rate": 27500000, "FEC_inner": 3}})",
                              0x43, "011757250192ce02750003"},
                      Example{R"({"satellite_delivery_system": {"frequency": 999999990000, "orbital_position": 1800,
                    "west_east_flag": false, "polarization": 1, "roll_off": 0, "modulation_system": 0,
                    "modulation_type": 1, "symbol_rate": 999999900, "FEC_inner": 15}})",
                              0x43, "999999991800219999999f"},
                      Example{R"({"cable_delivery_system": {"frequency": 346000000, "FEC_outer": 2, "modulation": 5,
                    "symbol_rate": 6900000, "FEC_inner": 15}})",
                              0x44,
                              "03460000fff205006900"
                              "0f"},
                      Example{R"({"terrestrial_delivery_system": {"centre_frequency": 500000000, "bandwidth": 1,
                    "priority": 0, "Time_Slicing_indicator": 1, "MPE-FEC_indicator": 0, "constellation": 2,
                    "hierarchy_information": 5, "code_rate-HP_stream": 1, "code_rate-LP_stream": 4,
                    "guard_interval": 3, "transmission_mode": 1, "other_frequency_flag": true}})",
                              0x5A, "02faf0802ba99bffffffff"},
                      Example{R"({"terrestrial_delivery_system": {"centre_frequency": 42949672950, "bandwidth": 7,
                    "priority": 1, "Time_Slicing_indicator": 0, "MPE-FEC_indicator": 1, "constellation": 1,
                    "hierarchy_information": 0, "code_rate-HP_stream": 7, "code_rate-LP_stream": 0,
                    "guard_interval": 0, "transmission_mode": 2, "other_frequency_flag": false}})",
                              0x5A, "fffffffff74704ffffffff"}));

INSTANTIATE_TEST_SUITE_P(
    OfServices, DescriptorForms,
    ::testing::Values(
        Example{R"({"service": {"service_type": 1, "provider": "Pro", "name": "Name"}})", 0x48,
                "010350726f044e616d65"},
        Example{R"({"service": {"service_type": 25, "provider": "", "name": ")" + repeated("x", 252) + "\"}}", 0x48,
                "1900fc" + repeated("78", 252)},
        Example{R"({"service": {"service_type": 255, "provider": ")" + repeated("x", 252) + R"(", "name": ""}})",
                0x48, "fffc" + repeated("78", 252) + "00"},
        Example{R"({"private_data_specifier": {"private_data_specifier": 40}})", 0x5F, "00000028"},
        Example{R"({"private_data_specifier": {"private_data_specifier": 4294967295}})", 0x5F, "ffffffff"}));

INSTANTIATE_TEST_SUITE_P(
    OfEvents, DescriptorForms,
    ::testing::Values(
        Example{R"({"short_event": {"ISO_639_language_code": "deu", "event_name": "News", "text": "All"}})", 0x4D,
                "646575044e65777303416c6c"},
        Example{R"({"short_event": {"ISO_639_language_code": "DEU", "event_name": ")" + repeated("x", 200) +
                    R"(", "text": ")" + repeated("y", 50) + "\"}}",
                0x4D, "444555c8" + repeated("78", 200) + "32" + repeated("79", 50)},
        Example{R"({"extended_event": {"descriptor_number": 1, "last_descriptor_number": 15,
                    "ISO_639_language_code": "eng",
                    "items": [{"item_description": "By", "item": "Ann"}, {"item_description": "", "item": "B"}],
                    "text": "End"}})",
                0x4E,
                "1f656e670a"
                "024279"
                "03416e6e"
                "00"
                "0142"
                "03456e64"},
        Example{R"({"extended_event": {"descriptor_number": 0, "last_descriptor_number": 0,
                    "ISO_639_language_code": "eng", "items": [], "text": ")" +
                    repeated("x", 249) + "\"}}",
                0x4E, "00656e6700f9" + repeated("78", 249)},
        Example{R"({"extended_event": {"descriptor_number": 0, "last_descriptor_number": 0,
                    "ISO_639_language_code": "eng", "items": [)" +
                    repeated(R"({"item_description": "", "item": ""},)", 123) +
                    R"({"item_description": "", "item": ""}], "text": "x"}})",
                0x4E, "00656e67f8" + repeated("0000", 124) + "0178"},
        Example{R"({"component": {"stream_content_ext": 15, "stream_content": 5, "component_type": 11,
                    "component_tag": 1, "ISO_639_language_code": "fra", "text": "HD"}})",
                0x50, "f50b016672614844"},
        Example{R"({"component": {"stream_content_ext": 0, "stream_content": 9, "component_type": 4,
                    "component_tag": 255, "ISO_639_language_code": "und", "text": ""}})",
                0x50, "0904ff756e64"},
        Example{R"({"content": [{"content_nibble_level_1": 1, "content_nibble_level_2": 15, "user_byte": 160}]})",
                0x54, "1fa0"},
        Example{
            R"({"content": [)" +
                repeated(R"({"content_nibble_level_1": 4, "content_nibble_level_2": 3, "user_byte": 2},)", 126) +
                R"({"content_nibble_level_1": 4, "content_nibble_level_2": 3, "user_byte": 2}]})",
            0x54, repeated("4302", 127)},
        Example{R"({"parental_rating": [{"country_code": "DEU", "rating": 9},
                                        {"country_code": "902", "rating": 255}]})",
                0x55, "44455509393032ff"},
        Example{R"({"parental_rating": [)" + repeated(R"({"country_code": "DEU", "rating": 9},)", 62) +
                    R"({"country_code": "DEU", "rating": 9}]})",
                0x55, repeated("44455509", 63)}));

INSTANTIATE_TEST_SUITE_P(
    OfStreams, DescriptorForms,
    ::testing::Values(
        Example{R"({"CA": {"CA_system_ID": 2816, "CA_PID": "0x0064"}})", 0x09, "0b00e064"},
        Example{R"({"CA": {"CA_system_ID": 65535, "CA_PID": "0x1FFF", "private_data": ")" + repeated("a5", 251) +
                    "\"}}",
                0x09, "ffffffff" + repeated("a5", 251)},
        Example{R"({"ISO_639_language": [{"ISO_639_language_code": "deu", "audio_type": 0},
                                         {"ISO_639_language_code": "eng", "audio_type": 3}]})",
                0x0A, "64657500656e6703"},
        Example{R"({"ISO_639_language": [)" +
                    repeated(R"({"ISO_639_language_code": "deu", "audio_type": 1},)", 62) +
                    R"({"ISO_639_language_code": "deu", "audio_type": 1}]})",
                0x0A, repeated("64657501", 63)},
        Example{R"({"VBI_data": [{"data_service_id": 1, "lines": [{"field_parity": true, "line_offset": 7},
                                                                  {"field_parity": false, "line_offset": 31}]},
                                 {"data_service_id": 3},
                                 {"data_service_id": 200, "reserved": "0102"},
                                 {"data_service_id": 7, "lines": []}]})",
                0x45, "0102e7df0300c80201020700"},
        Example{R"({"VBI_teletext": [{"ISO_639_language_code": "deu", "teletext_type": 1,
                                      "teletext_magazine_number": 0, "teletext_page_number": "88"}]})",
                0x46, "6465750888"},
        Example{R"({"stream_identifier": {"component_tag": 7}})", 0x52, "07"},
        Example{R"({"teletext": [{"ISO_639_language_code": "deu", "teletext_type": 2,
                                  "teletext_magazine_number": 1, "teletext_page_number": "50"},
                                 {"ISO_639_language_code": "eng", "teletext_type": 31,
                                  "teletext_magazine_number": 7, "teletext_page_number": "fe"}]})",
                0x56, "6465751150656e67fffe"},
        Example{R"({"teletext": [)" +
                    repeated(R"({"ISO_639_language_code": "deu", "teletext_type": 2,
                                 "teletext_magazine_number": 1, "teletext_page_number": "50"},)",
                             50) +
                    R"({"ISO_639_language_code": "deu", "teletext_type": 2, "teletext_magazine_number": 1,
                        "teletext_page_number": "50"}]})",
                0x56, repeated("6465751150", 51)},
        Example{R"({"subtitling": [{"ISO_639_language_code": "deu", "subtitling_type": 16,
                                    "composition_page_id": 258, "ancillary_page_id": 772}]})",
                0x59, "6465751001020304"},
        Example{R"({"subtitling": [)" +
                    repeated(R"({"ISO_639_language_code": "deu", "subtitling_type": 32,
                                 "composition_page_id": 1, "ancillary_page_id": 2},)",
                             30) +
                    R"({"ISO_639_language_code": "deu", "subtitling_type": 32, "composition_page_id": 1,
                        "ancillary_page_id": 2}]})",
                0x59, repeated("6465752000010002", 31)},
        Example{R"({"AC-3": {}})", 0x6A, "00"},
        Example{R"({"AC-3": {"component_type": 66, "asvc": 1}})", 0x6A, "904201"},
        Example{R"({"AC-3": {"component_type": 1, "bsid": 2, "mainid": 3, "asvc": 4,
                             "additional_info": "0506"}})",
                0x6A, "f0010203040506"}));

INSTANTIATE_TEST_SUITE_P(
    OfCoding, DescriptorForms,
    ::testing::Values(
        Example{
            R"({"video_stream": {"multiple_frame_rate_flag": true, "frame_rate_code": 3, "MPEG_1_only_flag": true, "constrained_parameter_flag": false, "still_picture_flag": true}})",
            0x02, "9d"},
        Example{
            R"({"video_stream": {"multiple_frame_rate_flag": false, "frame_rate_code": 5, "MPEG_1_only_flag": false, "constrained_parameter_flag": true, "still_picture_flag": false, "profile_and_level_indication": 72, "chroma_format": 1, "frame_rate_extension_flag": true}})",
            0x02, "2a487f"},
        Example{
            R"({"audio_stream": {"free_format_flag": false, "ID": 1, "layer": 2, "variable_rate_audio_indicator": false}})",
            0x03, "67"},
        Example{
            R"({"hierarchy": {"no_view_scalability_flag": true, "no_temporal_scalability_flag": false, "no_spatial_scalability_flag": true, "no_quality_scalability_flag": false, "hierarchy_type": 5, "hierarchy_layer_index": 2, "tref_present_flag": false, "hierarchy_embedded_layer_index": 1, "hierarchy_channel": 3}})",
            0x04, "a5c241c3"},
        Example{R"({"registration": {"format_identifier": "GA94"}})", 0x05, "47413934"},
        Example{R"({"registration": {"format_identifier": 1, "additional_identification_info": "0203"}})", 0x05,
                "000000010203"},
        Example{R"({"data_stream_alignment": {"alignment_type": 2}})", 0x06, "02"},
        Example{
            R"({"target_background_grid": {"horizontal_size": 720, "vertical_size": 576, "aspect_ratio_information": 3}})",
            0x07, "0b402403"},
        Example{R"({"video_window": {"horizontal_offset": 16383, "vertical_offset": 0, "window_priority": 1}})",
                0x08, "fffc0001"},
        Example{
            R"({"system_clock": {"external_clock_reference_indicator": true, "clock_accuracy_integer": 30, "clock_accuracy_exponent": 6}})",
            0x0B, "dedf"},
        Example{
            R"({"multiplex_buffer_utilization": {"bound_valid_flag": true, "LTW_offset_lower_bound": 24, "LTW_offset_upper_bound": 1000}})",
            0x0C, "801883e8"},
        Example{R"({"copyright": {"copyright_identifier": 258, "additional_copyright_info": "03"}})", 0x0D,
                "0000010203"},
        Example{R"({"maximum_bitrate": {"maximum_bitrate": 37500}})", 0x0E, "c0927c"},
        Example{R"({"private_data_indicator": {"private_data_indicator": 4294967295}})", 0x0F, "ffffffff"},
        Example{R"({"smoothing_buffer": {"sb_leak_rate": 2400, "sb_size": 512}})", 0x10, "c00960c00200"},
        Example{R"({"STD": {"leak_valid_flag": true}})", 0x11, "ff"},
        Example{R"({"IBP": {"closed_gop_flag": true, "identical_gop_flag": false, "max_gop-length": 24}})", 0x12,
                "8018"},
        Example{R"({"carousel_identifier": {"carousel_id": 170, "FormatID": 0, "private_data": "0102"}})", 0x13,
                "000000aa000102"},
        Example{
            R"({"carousel_identifier": {"carousel_id": 1, "FormatID": 1, "FormatSpecifier": {"ModuleVersion": 2, "ModuleId": 3, "BlockSize": 4066, "ModuleSize": 5, "CompressionMethod": 6, "OriginalSize": 7, "TimeOut": 8, "ObjectKeyData": "0a0b"}, "private_data": "ff"}})",
            0x13, "00000001010200030fe200000005060000000708020a0bff"},
        Example{
            R"({"association_tag": {"association_tag": 11, "use": 256, "selector": "0102", "private_data": "03"}})",
            0x14, "000b010002010203"},
        Example{R"({"MPEG-4_video": {"MPEG-4_visual_profile_and_level": 8}})", 0x1B, "08"},
        Example{R"({"MPEG-4_audio": {"MPEG-4_audio_profile_and_level": 88}})", 0x1C, "58"},
        Example{
            R"({"AVC_video": {"profile_idc": 100, "constraint_set0_flag": true, "constraint_set1_flag": false, "constraint_set2_flag": true, "constraint_set3_flag": false, "constraint_set4_flag": false, "constraint_set5_flag": true, "AVC_compatible_flags": 2, "level_idc": 40, "AVC_still_present": false, "AVC_24_hour_picture_flag": true, "Frame_Packing_SEI_not_present_flag": false}})",
            0x28, "64a6285f"},
        Example{
            R"({"MPEG-2_AAC_audio": {"MPEG-2_AAC_profile": 1, "MPEG-2_AAC_channel_configuration": 2, "MPEG-2_AAC_additional_information": 3}})",
            0x2B, "010203"}));

INSTANTIATE_TEST_SUITE_P(
    OfMoreNetworks, DescriptorForms,
    ::testing::Values(
        Example{
            R"({"country_availability": {"country_availability_flag": false, "countries": [{"country_code": "GBR"}, {"country_code": "902"}]}})",
            0x49, "7f474252393032"},
        Example{
            R"({"multilingual_network_name": [{"ISO_639_language_code": "eng", "name": "Net"}, {"ISO_639_language_code": "fra", "name": ""}]})",
            0x5B, "656e67034e657466726100"},
        Example{R"({"multilingual_bouquet_name": [{"ISO_639_language_code": "eng", "name": "B"}]})", 0x5C,
                "656e670142"},
        Example{
            R"({"frequency_list": {"coding_type": 1, "centre_frequencies": [{"centre_frequency": 11757250000}]}})",
            0x62, "fd01175725"},
        Example{
            R"({"frequency_list": {"coding_type": 2, "centre_frequencies": [{"centre_frequency": 346000000}]}})",
            0x62, "fe03460000"},
        Example{
            R"({"frequency_list": {"coding_type": 3, "centre_frequencies": [{"centre_frequency": 500000000}, {"centre_frequency": 42949672950}]}})",
            0x62, "ff02faf080ffffffff"},
        Example{R"({"frequency_list": {"coding_type": 0, "centre_frequencies": [{"centre_frequency": 258}]}})",
                0x62, "fc00000102"},
        Example{R"({"default_authority": {"default_authority": "a.example"}})", 0x73, "612e6578616d706c65"},
        Example{R"({"extension": {"descriptor_tag_extension": 6, "selector": "05656e67"}})", 0x7F, "0605656e67"}));

INSTANTIATE_TEST_SUITE_P(
    OfMoreServices, DescriptorForms,
    ::testing::Values(
        Example{R"({"NVOD_reference": [{"transport_stream_id": 1, "original_network_id": 2, "service_id": 3}]})",
                0x4B, "000100020003"},
        Example{R"({"time_shifted_service": {"reference_service_id": 300}})", 0x4C, "012c"},
        Example{R"({"CA_identifier": [{"CA_system_id": 2816}, {"CA_system_id": 65535}]})", 0x53, "0b00ffff"},
        Example{
            R"({"multilingual_service_name": [{"ISO_639_language_code": "eng", "provider": "P", "name": "Na"}]})",
            0x5D, "656e670150024e61"},
        Example{
            R"({"service_move": {"new_original_network_id": 1, "new_transport_stream_id": 2, "new_service_id": 3}})",
            0x60, "000100020003"},
        Example{
            R"({"data_broadcast": {"data_broadcast_id": 6, "component_tag": 11, "selector": "0102", "ISO_639_language_code": "eng", "text": "Hi"}})",
            0x64, "00060b020102656e67024869"},
        Example{
            R"({"data_broadcast": {"data_broadcast_id": 6, "component_tag": 11, "ISO_639_language_code": "eng", "text": ""}})",
            0x64, "00060b00656e6700"},
        Example{
            R"({"FTA_content_management": {"user_defined": false, "do_not_scramble": true, "control_remote_access_over_internet": 2, "do_not_apply_revocation": false}})",
            0x7E, "7c"}));

INSTANTIATE_TEST_SUITE_P(
    OfMoreEvents, DescriptorForms,
    ::testing::Values(
        Example{R"({"time_shifted_event": {"reference_service_id": 300, "reference_event_id": 7}})", 0x4F,
                "012c0007"},
        Example{R"({"short_smoothing_buffer": {"sb_size": 1, "sb_leak_rate": 8, "reserved": "ff"}})", 0x61, "48ff"},
        Example{R"({"PDC": {"day": 21, "month": 11, "hour": 20, "minute": 15}})", 0x69, "fadd0f"},
        Example{R"({"related_content": {}})", 0x74, ""},
        Example{R"({"TVA_id": [{"TVA_id": 4660, "running_status": 4}]})", 0x75, "1234fc"},
        Example{
            R"({"content_identifier": [{"crid_type": 49, "crid_location": 0, "crid": "/E"}, {"crid_type": 1, "crid_location": 1, "crid_ref": 258}]})",
            0x76, "c4022f45050102"}));

INSTANTIATE_TEST_SUITE_P(
    OfMoreStreams, DescriptorForms,
    ::testing::Values(
        Example{R"({"scrambling": {"scrambling_mode": 1}})", 0x65, "01"},
        Example{R"({"data_broadcast_id": {"data_broadcast_id": 291, "id_selector": "0010"}})", 0x66, "01230010"},
        Example{R"({"data_broadcast_id": {"data_broadcast_id": 10}})", 0x66, "000a"},
        Example{R"({"ancillary_data": {"ancillary_data_identifier": 2}})", 0x6B, "02"},
        Example{R"({"application_signalling": [{"application_type": 16, "AIT_version_number": 3}]})", 0x6F,
                "8010e3"},
        Example{R"({"application_signalling": []})", 0x6F, ""},
        Example{R"({"adaptation_field_data": {"adaptation_field_data_identifier": 1}})", 0x70, "01"},
        Example{R"({"enhanced_AC-3": {"mixinfoexists": true}})", 0x7A, "08"},
        Example{
            R"({"enhanced_AC-3": {"mixinfoexists": false, "component_type": 1, "bsid": 2, "mainid": 3, "asvc": 4, "substream1": 5, "substream2": 6, "substream3": 7, "additional_info": "08"}})",
            0x7A, "f70102030405060708"},
        Example{R"({"enhanced_AC-3": {"mixinfoexists": false, "mainid": 3, "substream2": 6}})", 0x7A, "220306"},
        Example{
            R"({"DTS": {"sample_rate_code": 13, "bit_rate_code": 15, "nblks": 7, "fsize": 1006, "surround_mode": 9, "lfe_flag": true, "extended_surround_flag": 2}})",
            0x7B, "d3c387dc4e"},
        Example{R"({"AAC": {"profile_and_level": 88}})", 0x7C, "58"},
        Example{R"({"AAC": {"profile_and_level": 88, "SAOC_DE_flag": false}})", 0x7C, "5800"},
        Example{
            R"({"AAC": {"profile_and_level": 88, "SAOC_DE_flag": true, "AAC_type": 5, "additional_info": "01"}})",
            0x7C, "58c00501"}));

INSTANTIATE_TEST_SUITE_P(
    OfAtsc, DescriptorForms,
    ::testing::Values(
        Example{
            R"({"AC-3_audio_stream": {"sample_rate_code": 2, "bsid": 8, "bit_rate_code": 10, "surround_mode": 1, "bsmod": 3, "num_channels": 13, "full_svc": true, "additional_info": "ff3f"}})",
            0x81, "48297bff3f"},
        Example{
            R"({"caption_service": [{"ISO_639_language_code": "eng", "digital_cc": true, "caption_service_number": 1, "easy_reader": false, "wide_aspect_ratio": true}, {"ISO_639_language_code": "eng", "digital_cc": false, "line21_field": true, "easy_reader": true, "wide_aspect_ratio": false}]})",
            0x86, "e2656e67c17fff656e677fbfff"},
        Example{
            R"({"content_advisory": [{"rating_region": 1, "ratings": [{"rating_dimension_j": 2, "rating_value": 3}], "rating_description": [{"ISO_639_language_code": "eng", "text": "PG"}]}, {"rating_region": 2, "ratings": []}]})",
            0x87, "c2010102f30a01656e67010000025047020000"},
        Example{
            R"({"extended_channel_name": {"long_channel_name": [{"ISO_639_language_code": "eng", "text": "Né"}]}})",
            0xA0, "01656e67010000024ee9"},
        Example{R"({"extended_channel_name": {"long_channel_name": []}})", 0xA0, "00"},
        Example{
            R"({"component_name": {"component_name": [{"ISO_639_language_code": "eng", "segments": [{"compression_type": 1, "mode": 0, "data": "0102"}, {"compression_type": 0, "mode": 63}]}]}})",
            0xA3, "01656e67020100020102003f00"},
        Example{R"({"redistribution_control": {"rc_information": "01"}})", 0xAA, "01"},
        Example{R"({"redistribution_control": {}})", 0xAA, ""}));

/// The lines of the guide's chapter on descriptors that are JSON.
std::vector<std::string> examplesOfTheGuide() {
  std::ifstream guide(SERVICEMUX_JSON_GUIDE);
  std::vector<std::string> examples;
  bool inChapter = false;
  for (std::string line; std::getline(guide, line);) {
    if (line.rfind("## ", 0) == 0) inChapter = line == "## Descriptors";
    if (inChapter && line.rfind('{', 0) == 0) examples.push_back(line);
  }
  return examples;
}

TEST(Descriptors, AreWrittenAsInTheGuide) {
  const auto examples = examplesOfTheGuide();
  EXPECT_EQ(examples.size(), 78U);  // one for each form
  for (const auto& example : examples) {
    const auto descriptor = readOne(example);
    EXPECT_EQ(writeOne(descriptor.tag, descriptor.data), OrderedJson::parse(example));
  }
}

TEST(Descriptors, TakeTheRawFormForEveryTag) {
  for (int tag = 0; tag <= 0xFF; ++tag) {
    const auto descriptor = readOne(raw(tag, "0102ff"));
    EXPECT_EQ(descriptor.tag, tag);
    EXPECT_EQ(descriptor.data, "\x01\x02\xFF");
  }
}

TEST(Descriptors, StayRawWithoutAReadableForm) {
  EXPECT_EQ(written(0x68, "0102"), raw(0x68, "0102"));
  EXPECT_EQ(written(0x00, ""), raw(0x00, ""));
  EXPECT_EQ(written(0xFF, "00"), raw(0xFF, "00"));
}

TEST(Descriptors, AreThoseOfAtscInItsTablesOnly) {
  for (const auto& [tag, hex] : std::vector<std::pair<int, std::string>>{{0x81, "08280f"},
                                                                         {0x86, "e0"},
                                                                         {0x87, "c0"},
                                                                         {0xA0, "00"},
                                                                         {0xA1, "e03100"},
                                                                         {0xA3, "00"},
                                                                         {0xAA, ""}}) {
    EXPECT_TRUE(writeLast({made(tag, bytesOf(hex))}).contains("tag")) << tag;
    EXPECT_TRUE(writeLast({made(0x5F, kEacem), made(tag, bytesOf(hex))}).contains("tag")) << tag;
    EXPECT_FALSE(writeLast({made(tag, bytesOf(hex))}, Family::kAtsc).contains("tag")) << tag;
  }
}

TEST(Descriptors, AreLogicalChannelsBehindAPrivateDataSpecifierThatSaysSo) {
  const auto channel = made(0x83, "\x12\x34\xFC\x01");
  const auto specifier = [](const std::string& hex) { return made(0x5F, bytesOf(hex)); };
  EXPECT_TRUE(writeLast({specifier("00000028"), channel}).contains("logical_channel"));
  EXPECT_TRUE(writeLast({specifier("0000233a"), channel}).contains("logical_channel"));
  EXPECT_TRUE(writeLast({specifier("00000028"), made(0x48, ""), channel}).contains("logical_channel"));
  EXPECT_TRUE(writeLast({channel}).contains("tag"));
  EXPECT_TRUE(writeLast({channel, specifier("00000028"), specifier("00000029"), channel}).contains("tag"));
  EXPECT_TRUE(writeLast({specifier("00000028"), channel}, Family::kAtsc).contains("tag"));
}

TEST(Descriptors, KeepControlCharactersOfAtscAsBytes) {
  for (const std::string code : {"0a", "7f", "85"})
    EXPECT_EQ(written(0xA0, "01656e6701000001" + code),
              R"({"extended_channel_name":{"long_channel_name":[{"ISO_639_language_code":"eng",)"
              R"("segments":[{"compression_type":0,"mode":0,"data":")" +
                  code + R"("}]}]}})");
}

TEST(Descriptors, KeepTheNulsBehindAText) {
  EXPECT_EQ(written(0x40, "4e657400"), R"({"network_name":{"name":"Net\u0000"}})");
  EXPECT_EQ(written(0x40, "054e65740000"), raw(0x40, "054e65740000"));  // with a table of another one's choice
  EXPECT_EQ(written(0x40, "4e006574"), raw(0x40, "4e006574"));
  EXPECT_EQ(written(0x48, "010241000142"), R"({"service":{"service_type":1,"provider":"A\u0000","name":"B"}})");
  EXPECT_EQ(hexDigits(readOne(R"({"network_name": {"name": "Net\u0000\u0000"}})").data), "4e65740000");
  EXPECT_EQ(errorIn("network_name", R"({"name": "N\u0000t"})"), "/name: \"N\\x00t\" holds a control character");
}

TEST(Descriptors, StayRawWhereInnerLengthsAreWrong) {
  for (const auto& [tag, hex] :
       std::vector<std::pair<int, std::string>>{{0x48, "01ff41"},          // provider longer than the payload
                                                {0x48, "01014102"},        // name longer than the payload
                                                {0x48, "0101410142ff"},    // bytes behind the name
                                                {0x4D, "646575ff41"},      // event_name
                                                {0x4D, "6465750141ff"},    // text
                                                {0x4E, "0065"},            // no items
                                                {0x4E, "00656e67ff0141"},  // items
                                                {0x4E,
                                                 "00656e6703054101"
                                                 "00"},                    // an item that leaves the items
                                                {0x4E, "00656e6700ff41"},  // text
                                                {0x45, "01ff"},            // VBI lines
                                                {0x41, "123401ff"},        // half an entry
                                                {0x09, "0b00e0"},          // no whole CA_PID
                                                {0x43, "011757250192ce0275000300"},
                                                {0x6A, "f0010203"}})
    EXPECT_EQ(written(tag, hex), raw(tag, hex));
}

TEST(Descriptors, StayRawWhereReservedBitsAreUnusual) {
  EXPECT_EQ(written(0x09, "0b000064"), raw(0x09, "0b000064"));
  EXPECT_EQ(written(0x83, "123483ff"), raw(0x83, "123483ff"));
  EXPECT_EQ(written(0x44, "034600000002050069000f"), raw(0x44, "034600000002050069000f"));
  EXPECT_EQ(written(0x5A, "02faf0802ba99b00000000"), raw(0x5A, "02faf0802ba99b00000000"));
  EXPECT_EQ(written(0x6A, "0f"), raw(0x6A, "0f"));
}

TEST(Descriptors, StayRawWhereAFieldIsNotWhatItShouldBe) {
  EXPECT_EQ(written(0x43, "0a1757250192ce02750003"), raw(0x43, "0a1757250192ce02750003"));  // no decimal
  EXPECT_EQ(written(0x0A, "64652000"), raw(0x0A, "64652000"));                              // "de "
  EXPECT_EQ(written(0x0A, "00000000"), raw(0x0A, "00000000"));
  EXPECT_EQ(written(0x55, "3930412f"), raw(0x55, "3930412f"));  // "90A"
  EXPECT_EQ(written(0x40, "1f0141"), raw(0x40, "1f0141"));      // text coded in a private way
  EXPECT_EQ(written(0x40, "41c8"), raw(0x40, "41c8"));          // an accent with nothing below it
}

TEST(Descriptors, TellOfTextInAnotherTableThanTheirOwnChoice) {
  EXPECT_EQ(written(0x48, "0103055a4b03055a4b"),
            R"({"service":{"service_type":1,"provider":{"text":"ZK","table":"05"},)"
            R"("name":{"text":"ZK","table":"05"}}})");
  EXPECT_EQ(readOne(R"({"network_name": {"name": {"text": "A\u00e9", "table": "100001"}}})").data,
            std::string("\x10\x00\x01"
                        "A\xE9",
                        5));
  EXPECT_EQ(written(0x40, "05"), R"({"network_name":{"name":{"text":"","table":"05"}}})");
}

TEST(DescriptorErrors, NameTheFieldAndTheValue) {
  EXPECT_EQ(errorIn("service", R"({"service_type": 256, "provider": "", "name": ""})"),
            "/service_type: 256 is above 0xFF");
  EXPECT_EQ(errorIn("service", R"({"service_type": 1, "provider": 5, "name": ""})"),
            "/provider: 5 is not a string");
  EXPECT_EQ(errorIn("service", R"({"service_type": 1, "name": ""})"), "/provider: missing field");
  EXPECT_EQ(errorIn("service", R"({"service_typ": 1})"), "/service_typ: unknown field");
  EXPECT_EQ(errorIn("service", "[]"), ": an array is not an object");
  EXPECT_EQ(errorIn("service_list", "{}"), ": an object is not an array");
  EXPECT_EQ(errorIn("service_list", R"([{"service_id": 65536, "service_type": 1}])"),
            "/0/service_id: 65536 is above 0xFFFF");
  EXPECT_EQ(errorIn("CA", R"({"CA_system_ID": 1, "CA_PID": 8192})"), "/CA_PID: 8192 is above 0x1FFF");
  EXPECT_EQ(errorIn("CA", R"({"CA_system_ID": 1, "CA_PID": 1, "private_data": "0x"})"),
            "/private_data: \"0x\" is not a string of hex digits");
  EXPECT_EQ(errorIn("logical_channel",
                    R"([{"service_id": 1, "visible_service_flag": true, "logical_channel_number": 1024}])"),
            "/0/logical_channel_number: 1024 is above 0x3FF");
  EXPECT_EQ(errorIn("logical_channel", R"([{"service_id": 1, "visible_service_flag": 1}])"),
            "/0/visible_service_flag: 1 is not true or false");
  EXPECT_EQ(errorIn("private_data_specifier", R"({"private_data_specifier": 4294967296})"),
            "/private_data_specifier: 4294967296 is above 0xFFFFFFFF");
  EXPECT_EQ(errorIn("component", R"({"stream_content_ext": 16})"), "/stream_content_ext: 16 is above 0xF");
  EXPECT_EQ(errorIn("AC-3", R"({"bsid": -1})"), "/bsid: -1 is below 0");
  EXPECT_EQ(errorIn("VBI_data", R"([{"data_service_id": 1, "reserved": ""}])"), "/0/reserved: unknown field");
  EXPECT_EQ(errorIn("VBI_data", R"([{"data_service_id": 3, "lines": []}])"), "/0/lines: unknown field");
  EXPECT_EQ(errorIn("linkage", R"({"transport_stream_id": 1, "original_network_id": 2, "service_id": 3,
                                   "linkage_type": 8})"),
            "/mobile_hand-over_info: missing field");
}

TEST(DescriptorErrors, NameLanguagesAndCountries) {
  for (const char* const code : {"", "de", "deut", "d1u", "de "})
    EXPECT_EQ(errorIn("ISO_639_language",
                      R"([{"ISO_639_language_code": ")" + std::string(code) + R"(", "audio_type": 0}])"),
              "/0/ISO_639_language_code: \"" + std::string(code) + "\" is not three letters");
  EXPECT_EQ(errorIn("parental_rating", R"([{"country_code": "90A", "rating": 1}])"),
            "/0/country_code: \"90A\" is not three letters or three digits");
}

TEST(DescriptorErrors, NameNumbersThatTheWireCannotCarry) {
  const std::string rest = R"(, "FEC_outer": 2, "modulation": 5, "symbol_rate": 6900000, "FEC_inner": 15})";
  EXPECT_EQ(errorIn("cable_delivery_system", R"({"frequency": 346000050)" + rest),
            "/frequency: 346000050 is not a multiple of 100");
  EXPECT_EQ(errorIn("cable_delivery_system", R"({"frequency": 10000000000)" + rest),
            "/frequency: 10000000000 is above 0x2540BE39C");
  EXPECT_EQ(errorIn("cable_delivery_system", R"({"frequency": 346.5)" + rest),
            "/frequency: 346.5 is not an integer");
  EXPECT_EQ(errorIn("satellite_delivery_system", R"({"frequency": 11757250000, "orbital_position": 10000})"),
            "/orbital_position: 10000 is above 0x270F");
  EXPECT_EQ(errorIn("terrestrial_delivery_system", R"({"centre_frequency": 474000001})"),
            "/centre_frequency: 474000001 is not a multiple of 10");
  const std::string page = R"([{"ISO_639_language_code": "deu", "teletext_type": 1,
                                "teletext_magazine_number": 1, "teletext_page_number": )";
  EXPECT_EQ(errorIn("teletext", page + R"(""}])"), "/0/teletext_page_number: \"\" is not two hex digits");
  EXPECT_EQ(errorIn("teletext", page + R"("0150"}])"), "/0/teletext_page_number: 2 bytes are more than 1");
  EXPECT_EQ(errorIn("teletext", page + "50}]"), "/0/teletext_page_number: 50 is not a string");
}

TEST(DescriptorErrors, NameWhatDoesNotFitADescriptor) {
  EXPECT_EQ(errorIn("network_name", R"({"name": ")" + repeated("x", 256) + "\"}"),
            "/name: the text takes 256 bytes, at most 255 fit");
  EXPECT_EQ(errorIn("service", R"({"service_type": 1, "provider": ")" + repeated("x", 200) + R"(", "name": ")" +
                                   repeated("y", 53) + "\"}"),
            "/name: the text takes 53 bytes, at most 52 fit");
  EXPECT_EQ(errorIn("short_event",
                    R"({"ISO_639_language_code": "deu", "event_name": "", "text": ")" + repeated("x", 251) + "\"}"),
            "/text: the text takes 251 bytes, at most 250 fit");
  EXPECT_EQ(errorIn("component", R"({"stream_content_ext": 1, "stream_content": 1, "component_type": 1,
                                     "component_tag": 1, "ISO_639_language_code": "deu", "text": ")" +
                                     repeated("x", 250) + "\"}"),
            "/text: the text takes 250 bytes, at most 249 fit");
  EXPECT_EQ(errorIn("CA", R"({"CA_system_ID": 1, "CA_PID": 1, "private_data": ")" + repeated("00", 252) + "\"}"),
            "/private_data: 252 bytes are more than 251");
  EXPECT_EQ(errorIn("content", "[" + repeated("{},", 127) + "{}]"), ": 128 entries are more than 127");
  EXPECT_EQ(errorIn("teletext", "[" + repeated("{},", 51) + "{}]"), ": 52 entries are more than 51");
  EXPECT_EQ(errorIn("parental_rating", "[" + repeated("{},", 319) + "{}]"), ": 320 entries are more than 63");
  EXPECT_EQ(errorIn("VBI_data", R"([{"data_service_id": 3, "reserved": ")" + repeated("00", 254) + "\"}]"),
            ": 256 bytes are more than 255");
}

TEST(DescriptorErrors, NameItemsThatDoNotFitADescriptor) {
  const std::string head = R"({"descriptor_number": 0, "last_descriptor_number": 0,
                               "ISO_639_language_code": "eng", "text": "", "items": [)";
  const std::string empty = R"({"item_description": "", "item": ""})";
  EXPECT_EQ(errorIn("extended_event", head + repeated(empty + ",", 124) + empty + "]}"),
            "/items: 125 entries are more than 124");
  EXPECT_EQ(
      errorIn("extended_event", head + R"({"item_description": "", "item": ")" + repeated("x", 248) + "\"}]}"),
      "/items/0/item: the text takes 248 bytes, at most 247 fit");
  EXPECT_EQ(errorIn("extended_event",
                    head + R"({"item_description": "", "item": ")" + repeated("x", 246) + "\"}," + empty + "]}"),
            "/items: 1 of 2 items fit");
}

TEST(DescriptorErrors, NameTextThatCannotBeWritten) {
  EXPECT_EQ(errorIn("network_name", R"({"name": "a\tb"})"), "/name: \"a\\x09b\" holds a control character");
  EXPECT_EQ(errorIn("network_name", R"({"name": {"text": "a"}})"), "/name/table: missing field");
  EXPECT_EQ(errorIn("network_name", R"({"name": {"text": "a", "table": "1f"}})"),
            "/name/table: \"1f\" selects no character table");
  EXPECT_EQ(errorIn("network_name", R"({"name": {"text": "a", "table": "08"}})"),
            "/name/table: \"08\" selects no character table");
  EXPECT_EQ(errorIn("network_name", R"({"name": {"text": "Ж", "table": "05"}})"),
            "/name/text: \"Ж\" cannot be written with the table \"05\"");
  EXPECT_EQ(errorIn("network_name", R"({"name": {"text": 1, "table": "05"}})"), "/name/text: 1 is not a string");
}

TEST(DescriptorErrors, RefuseWhatIsNoDescriptor) {
  EXPECT_EQ(errorOf(R"({"servize": {}})"), "/descriptors/0/servize: unknown field");
  EXPECT_EQ(errorOf("{}"), "/descriptors/0/tag: missing field");
  EXPECT_EQ(errorOf(R"({"stream_identifier": {"component_tag": 1}, "tag": 82})"),
            "/descriptors/0/tag: unknown field");
  EXPECT_EQ(errorOf(R"({"stream_identifier": {"component_tag": 1}, "CA": {}})"),
            "/descriptors/0/stream_identifier: unknown field");
}

/// Anything, with bytes that are often lengths, letters, selectors and control codes.
std::string randomPayload(std::mt19937& random) {
  static const std::string likely = "\0\1\2\3\5\x10\x11\x15\x8A\xA4\xC8\xFF aehdeu"s;
  std::string data(random() % 4 == 0 ? random() % 256 : random() % 24, '\0');
  for (char& byte : data) byte = random() % 3 == 0 ? static_cast<char>(random()) : likely[random() % likely.size()];
  return data;
}

/// The payload with some bits or bytes changed, and now and then another end.
std::string mutated(std::string data, std::mt19937& random) {
  for (auto changes = random() % 4; changes > 0; --changes) {
    char& byte = data[random() % data.size()];
    byte = random() % 2 == 0 ? static_cast<char>(random())
                             : static_cast<char>(static_cast<unsigned char>(byte) ^ 1U << random() % 8);
  }
  if (random() % 8 == 0) data.resize(random() % data.size());
  if (random() % 8 == 0) data += randomPayload(random).substr(0, 255 - data.size());
  return data;
}

TEST(Descriptors, ComeBackAsTheyWereWhateverTheirPayload) {
  constexpr int kPayloads = 10000;
  std::mt19937 random(1);
  for (const auto& [tag, hex] :
       std::vector<std::pair<int, std::string>>{{0x09, "0b00e0640102"},
                                                {0x0A, "64657500656e6703"},
                                                {0x40, "41c86186428ac4"},
                                                {0x41, "123401ffff19"},
                                                {0x43, "011757250192ce02750003"},
                                                {0x44, "03460000fff2050069000f"},
                                                {0x45, "0102e7df0300c80201020700"},
                                                {0x46, "6465750888"},
                                                {0x47, "01b6d0b4"},
                                                {0x48, "0104100001e9044e616d65"},
                                                {0x4A, "0001000200030d3333bfff"},
                                                {0x4D, "6465750405c4d06103154142"},
                                                {0x4E, "1f656e670a02427903416e6e00014203456e64"},
                                                {0x50, "f50b016672614844"},
                                                {0x52, "07"},
                                                {0x54, "1fa0"},
                                                {0x55, "44455509393032ff"},
                                                {0x56, "6465751150656e67fffe"},
                                                {0x59, "6465751001020304"},
                                                {0x5A, "02faf0802ba99bffffffff"},
                                                {0x5F, "00000028"},
                                                {0x6A, "f0010203040506"},
                                                {0x83, "1234ffff00017c01"}}) {
    int readable = 0;
    for (int i = 0; i < kPayloads; ++i) {
      const std::string data = i % 2 == 0 ? randomPayload(random) : mutated(bytesOf(hex), random);
      const OrderedJson json = writeOne(tag, data);
      const auto descriptor = readOne(json.dump());
      ASSERT_EQ(descriptor.tag, tag) << json;
      ASSERT_EQ(descriptor.data, data) << json;
      if (!json.contains("tag")) ++readable;
    }
    EXPECT_GT(readable, kPayloads / 20) << tag;
  }
}

}  // namespace
}  // namespace vantor::tables::descriptors_test
