#include "programs/tables/descriptors/layouts.h"

#include <vector>

#include "interface/psi/descriptors.h"

namespace vantor::tables {

namespace {

using Kind = LayoutField::Kind;

void putField(BitWriter& to, const JsonValue& json, const LayoutField& field) {
  switch (field.kind) {
    case Kind::kNumber:
      put(to, json, field.name, field.size);
      break;
    case Kind::kFlag:
      putFlag(to, json, field.name);
      break;
    case Kind::kReserved:
      to.reserved(field.size);
      break;
    case Kind::kLanguage:
      to.bytes(readLanguage(json));
      break;
    case Kind::kText:
      to.bytes(readText(json, field.name, kMaxDescriptorData));
      break;
    case Kind::kCountedText:
      to.counted(readText(json, field.name, kMaxDescriptorData));
      break;
    case Kind::kBytes:
      to.bytes(readBytes(json, field.name, kMaxDescriptorData));
      break;
    case Kind::kCountedBytes:
      to.counted(readBytes(json, field.name, kMaxDescriptorData));
      break;
  }
}

void takeField(BitReader& from, const LayoutField& field, OrderedJson& json) {
  switch (field.kind) {
    case Kind::kNumber:
      json[field.name] = from.bits(field.size);
      break;
    case Kind::kFlag:
      json[field.name] = from.flag();
      break;
    case Kind::kReserved:
      from.bits(field.size);
      break;
    case Kind::kLanguage:
      json[field.name] = takeLanguage(from);
      break;
    case Kind::kText:
      json[field.name] = textOf(from, from.rest());
      break;
    case Kind::kCountedText:
      json[field.name] = textOf(from, from.counted());
      break;
    case Kind::kBytes:
      addBytes(json, field.name, from.rest());
      break;
    case Kind::kCountedBytes:
      addBytes(json, field.name, from.counted());
      break;
  }
}

}  // namespace

void putFields(BitWriter& to, const JsonValue& json, const LayoutField* first, const LayoutField* last) {
  std::vector<const char*> names;
  for (const auto* field = first; field != last; ++field)
    if (field->name != nullptr) names.push_back(field->name);
  json.allowOnly(names);
  for (const auto* field = first; field != last; ++field) putField(to, json, *field);
}

OrderedJson takeFields(BitReader& from, const LayoutField* first, const LayoutField* last) {
  OrderedJson json = OrderedJson::object();
  for (const auto* field = first; field != last; ++field) takeField(from, *field, json);
  return json;
}

}  // namespace vantor::tables
