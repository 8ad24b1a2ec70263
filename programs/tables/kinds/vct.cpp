#include "programs/tables/kinds/vct.h"

#include "interface/converters/t2dVCT.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/psip.h"
#include "programs/tables/values/charsets.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::kShortNameUnits;
using thrift::dvb_tables::VCT;
using thrift::dvb_tables::VCTChannel;

// ATSC A/65 clause 6.3.
constexpr unsigned kVctLengthBits = 10;
constexpr const char* kShortNameCharset = "UTF-16BE";

/// The converter sees to its length.
std::string readShortName(const JsonValue& value) {
  const std::string& name = value.string();
  if (!name.empty() && name.back() == '\0') value.fail("U+0000 only fills a name up");
  return name;
}

VCTChannel readChannel(const JsonValue& value, bool isCable) {
  std::vector<const char*> fields{"short_name",      "major_channel_number", "minor_channel_number",
                                  "modulation_mode", "carrier_frequency",    "channel_TSID",
                                  "program_number",  "ETM_location",         "access_controlled",
                                  "hidden",          "hide_guide",           "service_type",
                                  "source_id",       "descriptors"};
  if (isCable) fields.insert(fields.end(), {"path_select", "out_of_band"});
  value.allowOnly(fields);
  VCTChannel channel;
  channel.short_name = readShortName(value.required("short_name"));
  readInteger(value, "major_channel_number", channel.major_channel_number);
  readInteger(value, "minor_channel_number", channel.minor_channel_number);
  readInteger(value, "modulation_mode", channel.modulation_mode);
  readIntegerIfGiven(value, "carrier_frequency", channel.carrier_frequency);
  readInteger(value, "channel_TSID", channel.channel_TSID);
  readInteger(value, "program_number", channel.program_number);
  readIntegerIfGiven(value, "ETM_location", channel.ETM_location);
  channel.access_controlled = hasFlag(value, "access_controlled");
  channel.hidden = hasFlag(value, "hidden");
  channel.path_select = hasFlag(value, "path_select");
  channel.out_of_band = hasFlag(value, "out_of_band");
  channel.hide_guide = hasFlag(value, "hide_guide");
  readInteger(value, "service_type", channel.service_type);
  readInteger(value, "source_id", channel.source_id);
  channel.descriptors = readDescriptors(value);
  return channel;
}

OrderedJson writeChannel(const VCTChannel& channel) {
  OrderedJson json{{"short_name", channel.short_name},
                   {"major_channel_number", channel.major_channel_number},
                   {"minor_channel_number", channel.minor_channel_number},
                   {"modulation_mode", channel.modulation_mode}};
  if (channel.carrier_frequency != 0) json["carrier_frequency"] = channel.carrier_frequency;
  json["channel_TSID"] = channel.channel_TSID;
  json["program_number"] = channel.program_number;
  if (channel.ETM_location != 0) json["ETM_location"] = channel.ETM_location;
  writeFlag(channel.access_controlled, "access_controlled", json);
  writeFlag(channel.hidden, "hidden", json);
  writeFlag(channel.path_select, "path_select", json);
  writeFlag(channel.out_of_band, "out_of_band", json);
  writeFlag(channel.hide_guide, "hide_guide", json);
  json["service_type"] = channel.service_type;
  json["source_id"] = channel.source_id;
  writeDescriptors(channel.descriptors, json, Family::kAtsc);
  return json;
}

/// A name ends where nothing but zeros follow.
std::string takeShortName(BitReader& bits) {
  std::string_view units = bits.bytes(2 * kShortNameUnits);
  while (units.size() >= 2 && wordAt(units, units.size() - 2) == 0) units.remove_suffix(2);
  const auto name = convertText("UTF-8", kShortNameCharset, units);
  if (!name) bits.fail();
  return name.value_or("");
}

VCTChannel takeChannel(BitReader& bits, bool isCable) {
  VCTChannel channel;
  channel.short_name = takeShortName(bits);
  bits.bits(4);
  channel.major_channel_number = static_cast<std::int16_t>(bits.bits(10));
  channel.minor_channel_number = static_cast<std::int16_t>(bits.bits(10));
  channel.modulation_mode = static_cast<std::int16_t>(bits.bits(8));
  channel.carrier_frequency = bits.bits(32);
  channel.channel_TSID = static_cast<std::int32_t>(bits.bits(16));
  channel.program_number = static_cast<std::int32_t>(bits.bits(16));
  channel.ETM_location = static_cast<std::int16_t>(bits.bits(2));
  channel.access_controlled = bits.flag();
  channel.hidden = bits.flag();
  // Reserved bits of a terrestrial VCT.
  channel.path_select = bits.flag() && isCable;
  channel.out_of_band = bits.flag() && isCable;
  channel.hide_guide = bits.flag();
  bits.bits(3);
  channel.service_type = static_cast<std::int16_t>(bits.bits(6));
  channel.source_id = static_cast<std::int32_t>(bits.bits(16));
  channel.descriptors = takeDescriptors(bits, kVctLengthBits);
  return channel;
}

/// Adds what one section has. Returns false when it is not laid out as a VCT.
bool addSection(const Section& section, VCT& vct) {
  BitReader bits(section.payload());
  vct.table_id = section.tableId();
  vct.transport_stream_id = section.extension();
  vct.protocol_version = static_cast<std::int16_t>(bits.bits(8));
  for (auto channels = bits.bits(8); channels > 0 && bits.isGood(); --channels)
    vct.channels.push_back(takeChannel(bits, section.tableId() == kCableVctTableId));
  append(takeDescriptors(bits, kVctLengthBits), vct.descriptors);
  return bits.isGood() && bits.atEnd();
}

/// Terrestrial and cable differ in the table_id and in two flags.
template <const psi::TableType& Type, std::optional<VCT> TableSet::*Member>
class VctKind : public SingleTableKind<VCT, Member> {
 public:
  VctKind() : SingleTableKind<VCT, Member>(Type) {}

  const char* key() const override { return kIsCable ? "cvct" : "tvct"; }
  const char* group() const override { return kPsipGroup; }

  bool isWellFormed(const Section& section) const override {
    VCT unused;
    return addSection(section, unused);
  }

 protected:
  VCT readRecord(const JsonValue& value) const override {
    value.allowOnly({"transport_stream_id", "version_number", "current_next_indicator", "protocol_version",
                     "channels", "descriptors"});
    VCT vct;
    vct.table_id = Type.firstTableId;
    readInteger(value, "transport_stream_id", vct.transport_stream_id);
    readPsipHead(value, vct);
    vct.descriptors = readDescriptors(value);
    const JsonValue channels = value.required("channels");
    for (std::size_t i = 0; i < channels.size(); ++i) vct.channels.push_back(readChannel(channels.at(i), kIsCable));
    return vct;
  }

  OrderedJson writeRecord(const VCT& vct) const override {
    OrderedJson json{{"transport_stream_id", vct.transport_stream_id}};
    writePsipHead(vct, json);
    writeDescriptors(vct.descriptors, json, Family::kAtsc);
    auto& channels = json["channels"] = OrderedJson::array();
    for (const VCTChannel& channel : vct.channels) channels.push_back(writeChannel(channel));
    return json;
  }

  std::optional<VCT> decodeRecord(const std::vector<Section>& sections) const override {
    return decodePsip<VCT>(sections, &addSection);
  }

  bool send(const VCT& vct, serviceMux& mux) const override { return mux.newVCT(vct) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearVCT(Type.firstTableId); }

 private:
  static constexpr bool kIsCable = Type.has(kCableVctTableId);
};

}  // namespace

const TableKind& terrestrialVctKind() {
  static const VctKind<psi::kTerrestrialVct, &TableSet::terrestrialVct> kind;
  return kind;
}

const TableKind& cableVctKind() {
  static const VctKind<psi::kCableVct, &TableSet::cableVct> kind;
  return kind;
}

}  // namespace vantor::tables
