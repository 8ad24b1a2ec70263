#include "programs/tables/kinds/pat.h"

#include <memory>

#include "interface/converters/t2dPAT.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/sections/dvbpsiDecoder.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::PAT;
using thrift::dvb_tables::PATProgram;

class PatKind : public SingleTableKind<PAT, &TableSet::pat> {
 public:
  using SingleTableKind::SingleTableKind;

  const char* key() const override { return "pat"; }

  bool isWellFormed(const Section& section) const override {
    return section.bytes().size() <= kMaxSectionSize && section.payload().size() % kPatProgramSize == 0;
  }

 protected:
  PAT readRecord(const JsonValue& value) const override {
    value.allowOnly({"transport_stream_id", "version_number", "current_next_indicator", "programs"});
    PAT pat;
    readInteger(value, "transport_stream_id", pat.transport_stream_id);
    readVersion(value, pat);
    const JsonValue programs = value.required("programs");
    for (std::size_t i = 0; i < programs.size(); ++i) {
      const JsonValue from = programs.at(i);
      from.allowOnly({"program_number", "pid"});
      PATProgram program;
      readInteger(from, "program_number", program.program_number);
      readPid(from, "pid", program.pid);
      pat.programs.push_back(program);
    }
    return pat;
  }

  OrderedJson writeRecord(const PAT& pat) const override {
    OrderedJson json;
    json["transport_stream_id"] = pat.transport_stream_id;
    writeVersion(pat, json);
    auto& programs = json["programs"] = OrderedJson::array();
    for (const auto& program : pat.programs)
      programs.push_back({{"program_number", program.program_number}, {"pid", pidText(program.pid)}});
    return json;
  }

  std::optional<PAT> decodeRecord(const std::vector<Section>& sections) const override {
    const PatTable table = decodePat(sections);
    if (!table) return std::nullopt;
    PAT pat;
    pat.transport_stream_id = table->i_ts_id;
    pat.version_number = table->i_version;
    pat.current_next_indicator = table->b_current_next;
    for (const auto* from = table->p_first_program; from != nullptr; from = from->p_next) {
      PATProgram program;
      program.program_number = from->i_number;
      program.pid = from->i_pid;
      pat.programs.push_back(program);
    }
    return pat;
  }

  bool send(const PAT& pat, serviceMux& mux) const override { return mux.newPAT(pat) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearPAT(); }
};

}  // namespace

const TableKind& patKind() {
  static const PatKind kind(psi::kPat);
  return kind;
}

}  // namespace vantor::tables
