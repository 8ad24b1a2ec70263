#include "programs/tables/kinds/cat.h"

#include "interface/converters/t2dCAT.h"
#include "programs/tables/descriptors/descriptors.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/SingleTableKind.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/sections/dvbpsiDecoder.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::CAT;

class CatKind : public SingleTableKind<CAT, &TableSet::cat> {
 public:
  using SingleTableKind::SingleTableKind;

  const char* key() const override { return "cat"; }

  bool isWellFormed(const Section& section) const override {
    return section.bytes().size() <= kMaxSectionSize && holdsDescriptors(section.payload());
  }

 protected:
  CAT readRecord(const JsonValue& value) const override {
    value.allowOnly({"version_number", "current_next_indicator", "descriptors"});
    CAT cat;
    readVersion(value, cat);
    cat.descriptors = readDescriptors(value);
    return cat;
  }

  OrderedJson writeRecord(const CAT& cat) const override {
    OrderedJson json;
    writeVersion(cat, json);
    writeDescriptors(cat.descriptors, json);
    return json;
  }

  std::optional<CAT> decodeRecord(const std::vector<Section>& sections) const override {
    const CatTable table = decodeCat(sections);
    if (!table) return std::nullopt;
    CAT cat;
    cat.version_number = table->i_version;
    cat.current_next_indicator = table->b_current_next;
    cat.descriptors = fromDvbpsi(table->p_first_descriptor);
    return cat;
  }

  bool send(const CAT& cat, serviceMux& mux) const override { return mux.newCAT(cat) >= 0; }
  void clear(serviceMux& mux) const override { mux.clearCAT(); }
};

}  // namespace

const TableKind& catKind() {
  static const CatKind kind(psi::kCat);
  return kind;
}

}  // namespace vantor::tables
