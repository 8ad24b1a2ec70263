#include "interface/converters/t2dCAT.h"

#include <memory>

#include "interface/converters/check.h"

namespace vantor::thrift::dvb_tables {

namespace {

std::size_t sectionCount(const std::vector<Descriptor>& descriptors) {
  SectionCount sections(kCatRoom);
  for (const Descriptor& descriptor : descriptors) sections.add(wireSize(descriptor));
  return sections.count();
}

bool canBeSent(const Field& cat, const CAT& record) {
  return isVersion(cat["version_number"], record.version_number) &&
         areDescriptors(cat, "descriptors", record.descriptors) &&
         fitsSectionCount(cat["descriptors"], sectionCount(record.descriptors));
}

}  // namespace

std::optional<Refusal> check(const CAT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_cat_t* t2dCAT(const CAT& record) {
  if (isRefused("CAT", check(record))) return nullptr;
  std::unique_ptr<dvbpsi_cat_t, decltype(&dvbpsi_cat_delete)> cat(
      dvbpsi_cat_new(versionByte(record.version_number), record.current_next_indicator), &dvbpsi_cat_delete);
  if (!cat || !addDescriptors(cat.get(), &dvbpsi_cat_descriptor_add, record.descriptors)) return nullptr;
  return cat.release();
}

}  // namespace vantor::thrift::dvb_tables
