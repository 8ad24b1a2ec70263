#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/descriptors/formFields.h"
#include "programs/tables/descriptors/generated.h"

/// Delivery system descriptors, EN 300 468 clause 6.2.13. Frequencies are in Hz here and symbol rates in symbols
/// per second; on the wire each system has a step of its own.

namespace vantor::tables {

namespace {

constexpr std::uint32_t kSymbolRateStep = 100;
constexpr unsigned kSymbolRateDigits = 7;
constexpr unsigned kFrequencyDigits = 8;

// ---- clause 6.2.13.2

constexpr std::uint32_t kSatelliteStep = 10000;
constexpr unsigned kOrbitalDigits = 4;

std::string encodeSatellite(const JsonValue& json) {
  json.allowOnly({"frequency", "orbital_position", "west_east_flag", "polarization", "roll_off",
                  "modulation_system", "modulation_type", "symbol_rate", "FEC_inner"});
  dvbpsi_sat_deliv_sys_dr_t record{};
  record.i_frequency = readDecimal(json, "frequency", kSatelliteStep, kFrequencyDigits);
  record.i_orbital_position = static_cast<std::uint16_t>(readDecimal(json, "orbital_position", 1, kOrbitalDigits));
  record.i_west_east_flag = readFlag(json, "west_east_flag") ? 1 : 0;
  record.i_polarization = static_cast<std::uint8_t>(readNumber(json, "polarization", 2));
  record.i_roll_off = static_cast<std::uint8_t>(readNumber(json, "roll_off", 2));
  record.i_modulation_system = static_cast<std::uint8_t>(readNumber(json, "modulation_system", 1));
  record.i_modulation_type = static_cast<std::uint8_t>(readNumber(json, "modulation_type", 2));
  record.i_symbol_rate = readDecimal(json, "symbol_rate", kSymbolRateStep, kSymbolRateDigits);
  record.i_fec_inner = static_cast<std::uint8_t>(readNumber(json, "FEC_inner", 4));
  return generated(dvbpsi_GenSatDelivSysDr, record);
}

OrderedJson decodeSatellite(BitReader& from) {
  return {{"frequency", takeDecimal(from, kSatelliteStep, kFrequencyDigits)},
          {"orbital_position", takeDecimal(from, 1, kOrbitalDigits)},
          {"west_east_flag", from.flag()},
          {"polarization", from.bits(2)},
          {"roll_off", from.bits(2)},
          {"modulation_system", from.bits(1)},
          {"modulation_type", from.bits(2)},
          {"symbol_rate", takeDecimal(from, kSymbolRateStep, kSymbolRateDigits)},
          {"FEC_inner", from.bits(4)}};
}

// ---- clause 6.2.13.1

constexpr std::uint32_t kCableStep = 100;

std::string encodeCable(const JsonValue& json) {
  json.allowOnly({"frequency", "FEC_outer", "modulation", "symbol_rate", "FEC_inner"});
  BitWriter to;
  to.bits(readDecimal(json, "frequency", kCableStep, kFrequencyDigits), 32).reserved(12);
  put(to, json, "FEC_outer", 4);
  put(to, json, "modulation", 8);
  to.bits(readDecimal(json, "symbol_rate", kSymbolRateStep, kSymbolRateDigits), 28);
  put(to, json, "FEC_inner", 4);
  return to.written();
}

OrderedJson decodeCable(BitReader& from) {
  OrderedJson json{{"frequency", takeDecimal(from, kCableStep, kFrequencyDigits)}};
  from.bits(12);
  json["FEC_outer"] = from.bits(4);
  json["modulation"] = from.bits(8);
  json["symbol_rate"] = takeDecimal(from, kSymbolRateStep, kSymbolRateDigits);
  json["FEC_inner"] = from.bits(4);
  return json;
}

// ---- clause 6.2.13.4

constexpr std::uint32_t kTerrestrialStep = 10;

std::string encodeTerrestrial(const JsonValue& json) {
  json.allowOnly({"centre_frequency", "bandwidth", "priority", "Time_Slicing_indicator", "MPE-FEC_indicator",
                  "constellation", "hierarchy_information", "code_rate-HP_stream", "code_rate-LP_stream",
                  "guard_interval", "transmission_mode", "other_frequency_flag"});
  const auto number = [&json](const char* field, unsigned bits) {
    return static_cast<std::uint8_t>(readNumber(json, field, bits));
  };
  dvbpsi_terr_deliv_sys_dr_t record{};
  record.i_centre_frequency = readMultiple(json, "centre_frequency", kTerrestrialStep, 32);
  record.i_bandwidth = number("bandwidth", 3);
  record.i_priority = number("priority", 1);
  record.i_time_slice_indicator = number("Time_Slicing_indicator", 1);
  record.i_mpe_fec_indicator = number("MPE-FEC_indicator", 1);
  record.i_constellation = number("constellation", 2);
  record.i_hierarchy_information = number("hierarchy_information", 3);
  record.i_code_rate_hp_stream = number("code_rate-HP_stream", 3);
  record.i_code_rate_lp_stream = number("code_rate-LP_stream", 3);
  record.i_guard_interval = number("guard_interval", 2);
  record.i_transmission_mode = number("transmission_mode", 2);
  record.i_other_frequency_flag = readFlag(json, "other_frequency_flag") ? 1 : 0;
  return generated(dvbpsi_GenTerrDelivSysDr, record);
}

OrderedJson decodeTerrestrial(BitReader& from) {
  OrderedJson json{{"centre_frequency", std::uint64_t{from.bits(32)} * kTerrestrialStep},
                   {"bandwidth", from.bits(3)},
                   {"priority", from.bits(1)},
                   {"Time_Slicing_indicator", from.bits(1)},
                   {"MPE-FEC_indicator", from.bits(1)}};
  from.bits(2);
  json["constellation"] = from.bits(2);
  json["hierarchy_information"] = from.bits(3);
  json["code_rate-HP_stream"] = from.bits(3);
  json["code_rate-LP_stream"] = from.bits(3);
  json["guard_interval"] = from.bits(2);
  json["transmission_mode"] = from.bits(2);
  json["other_frequency_flag"] = from.flag();
  from.bits(32);
  return json;
}

}  // namespace

DescriptorForms deliverySystemForms() {
  return {{0x43, "satellite_delivery_system", encodeSatellite, decodeSatellite},
          {0x44, "cable_delivery_system", encodeCable, decodeCable},
          {0x5A, "terrestrial_delivery_system", encodeTerrestrial, decodeTerrestrial}};
}

}  // namespace vantor::tables
