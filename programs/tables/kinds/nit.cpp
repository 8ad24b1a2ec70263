#include "programs/tables/kinds/nit.h"

#include "interface/converters/t2dNIT.h"
#include "programs/tables/descriptors/descriptors.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/sections/dvbpsiDecoder.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::NIT;
using thrift::dvb_tables::NITTransportStream;

constexpr std::size_t kLoopLengthSize = 2;

class NitKind : public SingleTableKind<NIT, &TableSet::nit> {
 public:
  using SingleTableKind::SingleTableKind;

  const char* key() const override { return "nit"; }

  bool isWellFormed(const Section& section) const override {
    std::string_view rest = section.payload();
    if (section.bytes().size() > kMaxSectionSize || rest.size() < 2 * kLoopLengthSize) return false;
    const std::size_t descriptors = loopLength(rest, 0);
    rest.remove_prefix(kLoopLengthSize);
    if (descriptors + kLoopLengthSize > rest.size() || !holdsDescriptors(rest.substr(0, descriptors))) return false;
    rest.remove_prefix(descriptors);
    return loopLength(rest, 0) == rest.size() - kLoopLengthSize &&
           holdsItems(rest.substr(kLoopLengthSize), kNitRoom.itemHead);
  }

 protected:
  NIT readRecord(const JsonValue& value) const override {
    value.allowOnly({"network_id", "version_number", "current_next_indicator", "descriptors", "transport_streams"});
    NIT nit;
    readInteger(value, "network_id", nit.network_id);
    readVersion(value, nit);
    nit.descriptors = readDescriptors(value);
    const JsonValue streams = value.required("transport_streams");
    for (std::size_t i = 0; i < streams.size(); ++i) nit.transport_streams.push_back(readStream(streams.at(i)));
    return nit;
  }

  OrderedJson writeRecord(const NIT& nit) const override {
    OrderedJson json;
    json["network_id"] = nit.network_id;
    writeVersion(nit, json);
    writeDescriptors(nit.descriptors, json);
    auto& streams = json["transport_streams"] = OrderedJson::array();
    for (const auto& stream : nit.transport_streams) {
      OrderedJson to{{"transport_stream_id", stream.transport_stream_id},
                     {"original_network_id", stream.original_network_id}};
      writeDescriptors(stream.descriptors, to);
      streams.push_back(std::move(to));
    }
    return json;
  }

  std::optional<NIT> decodeRecord(const std::vector<Section>& sections) const override {
    const NitTable table = decodeNit(sections);
    if (!table) return std::nullopt;
    NIT nit;
    nit.network_id = table->i_network_id;
    nit.version_number = table->i_version;
    nit.current_next_indicator = table->b_current_next;
    nit.descriptors = fromDvbpsi(table->p_first_descriptor);
    for (const auto* from = table->p_first_ts; from != nullptr; from = from->p_next) {
      NITTransportStream stream;
      stream.transport_stream_id = from->i_ts_id;
      stream.original_network_id = from->i_orig_network_id;
      stream.descriptors = fromDvbpsi(from->p_first_descriptor);
      nit.transport_streams.push_back(std::move(stream));
    }
    return nit;
  }

  bool send(const NIT& nit, serviceMux& mux) const override { return mux.newNIT(nit) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearNIT(); }

 private:
  static NITTransportStream readStream(const JsonValue& value) {
    value.allowOnly({"transport_stream_id", "original_network_id", "descriptors"});
    NITTransportStream stream;
    readInteger(value, "transport_stream_id", stream.transport_stream_id);
    readInteger(value, "original_network_id", stream.original_network_id);
    stream.descriptors = readDescriptors(value);
    return stream;
  }
};

}  // namespace

const TableKind& nitKind() {
  static const NitKind kind(psi::kNitActual);
  return kind;
}

}  // namespace vantor::tables
