#include "programs/tables/descriptors.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kMaxDescriptorData = 255;

using thrift::dvb_tables::Descriptor;

Descriptor readDescriptor(const JsonValue& value) {
  value.allowOnly({"tag", "data"});
  Descriptor descriptor;
  descriptor.tag = static_cast<std::int16_t>(value.required("tag").integer(0, 0xFF));
  descriptor.data = value.required("data").hexBytes(kMaxDescriptorData);
  return descriptor;
}

}  // namespace

Descriptors readDescriptors(const JsonValue& owner) {
  Descriptors descriptors;
  if (const auto list = owner.optional("descriptors"))
    for (std::size_t i = 0; i < list->size(); ++i) descriptors.push_back(readDescriptor(list->at(i)));
  return descriptors;
}

void writeDescriptors(const Descriptors& descriptors, OrderedJson& owner) {
  if (descriptors.empty()) return;
  auto& list = owner["descriptors"] = OrderedJson::array();
  for (const auto& descriptor : descriptors)
    list.push_back({{"tag", descriptor.tag}, {"data", hexDigits(descriptor.data)}});
}

Descriptors fromDvbpsi(const dvbpsi_descriptor_t* first) {
  Descriptors descriptors;
  for (const auto* from = first; from != nullptr; from = from->p_next) {
    Descriptor descriptor;
    descriptor.tag = from->i_tag;
    descriptor.data.assign(reinterpret_cast<const char*>(from->p_data), from->i_length);
    descriptors.push_back(std::move(descriptor));
  }
  return descriptors;
}

}  // namespace vantor::tables
