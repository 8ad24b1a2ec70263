#include "programs/tables/descriptors/descriptors.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>

#include "programs/tables/descriptors/DescriptorForm.h"
#include "programs/tables/json/InputError.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::Descriptor;

DescriptorForms collectForms() {
  DescriptorForms all;
  for (const auto& group : {mpegForms(), networkForms(), deliverySystemForms(), serviceForms(), eventForms(),
                            streamForms(), psipForms()})
    all.insert(all.end(), group.begin(), group.end());
  return all;
}

const DescriptorForms& allForms() {
  static const DescriptorForms forms = collectForms();
  return forms;
}

Descriptor readRaw(const JsonValue& value) {
  value.allowOnly({"tag", "data"});
  Descriptor descriptor;
  descriptor.tag = value.required("tag").integer<std::int16_t>();
  descriptor.data = value.required("data").hexBytes(kMaxDescriptorData);
  return descriptor;
}

Descriptor readForm(const DescriptorForm& form, const JsonValue& fields) {
  Descriptor descriptor;
  descriptor.tag = form.tag;
  descriptor.data = form.encode(fields);
  if (descriptor.data.size() > kMaxDescriptorData)
    fields.fail(std::to_string(descriptor.data.size()) + " bytes are more than " +
                std::to_string(kMaxDescriptorData));
  return descriptor;
}

const DescriptorForm* formNamed(std::string_view name) {
  static const std::map<std::string_view, const DescriptorForm*> names = [] {
    std::map<std::string_view, const DescriptorForm*> all;
    for (const DescriptorForm& form : allForms()) all.emplace(form.name, &form);
    return all;
  }();
  const auto found = names.find(name);
  return found == names.end() ? nullptr : found->second;
}

/// The form that the object has a field for, as it should with no other field; null for a raw descriptor.
const DescriptorForm* formOf(const JsonValue& value) {
  if (const auto name = value.onlyField()) return formNamed(*name);
  for (const DescriptorForm& form : allForms())
    if (value.optional(form.name)) return &form;
  return nullptr;
}

Descriptor readDescriptor(const JsonValue& value) {
  const DescriptorForm* const form = formOf(value);
  if (form == nullptr) return readRaw(value);
  value.allowOnly({form->name});
  return readForm(*form, value.required(form->name));
}

bool standsFor(const DescriptorForm& form, const OrderedJson& fields, const std::string& data) {
  try {
    const Json json = fields;
    return form.encode(JsonValue(json)) == data;
  } catch (const InputError&) {
    return false;  // the wire holds what a form may not
  }
}

std::optional<OrderedJson> fieldsOf(const DescriptorForm& form, const std::string& data) {
  BitReader from(data);
  OrderedJson fields = form.decode(from);
  if (!from.isGood() || !standsFor(form, fields, data)) return std::nullopt;
  return fields;
}

OrderedJson writeDescriptor(const Descriptor& descriptor, TagOwner owner) {
  for (const auto& form : allForms())
    if (form.tag == descriptor.tag && (form.owner == TagOwner::kStandard || form.owner == owner))
      if (auto fields = fieldsOf(form, descriptor.data)) return {{form.name, std::move(*fields)}};
  return {{"tag", descriptor.tag}, {"data", hexDigits(descriptor.data)}};
}

/// private_data_specifiers of those who give their channels numbers as IEC 62216 does: EACEM, which wrote it, and
/// the broadcasters of the United Kingdom.
constexpr const char* kChannelNumberOwners[] = {"\x00\x00\x00\x28", "\x00\x00\x23\x3A"};
constexpr std::size_t kSpecifierSize = 4;
constexpr std::uint8_t kPrivateDataSpecifierTag = 0x5F;

TagOwner ownerNamedBy(const std::string& specifier) {
  const auto isNamed = [&](const char* owner) { return specifier == std::string_view(owner, kSpecifierSize); };
  const bool isEacem = std::any_of(std::begin(kChannelNumberOwners), std::end(kChannelNumberOwners), isNamed);
  return isEacem ? TagOwner::kEacem : TagOwner::kStandard;
}

}  // namespace

Descriptors readDescriptors(const JsonValue& owner) {
  Descriptors descriptors;
  if (const auto list = owner.optional("descriptors"))
    for (std::size_t i = 0; i < list->size(); ++i) descriptors.push_back(readDescriptor(list->at(i)));
  return descriptors;
}

void writeDescriptors(const Descriptors& descriptors, OrderedJson& owner, Family family) {
  if (descriptors.empty()) return;
  auto& list = owner["descriptors"] = OrderedJson::array();
  TagOwner tagOwner = family == Family::kAtsc ? TagOwner::kAtsc : TagOwner::kStandard;
  for (const auto& descriptor : descriptors) {
    list.push_back(writeDescriptor(descriptor, tagOwner));
    if (descriptor.tag == kPrivateDataSpecifierTag && family == Family::kDvb)
      tagOwner = ownerNamedBy(descriptor.data);
  }
}

bool isRegisteredByAtsc(const Descriptors& descriptors) {
  constexpr std::uint8_t kRegistrationTag = 0x05;
  return std::any_of(descriptors.begin(), descriptors.end(), [](const Descriptor& descriptor) {
    return descriptor.tag == kRegistrationTag && descriptor.data.compare(0, 4, "GA94") == 0;
  });
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
