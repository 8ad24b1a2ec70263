#include "interface/checks/Field.h"

#include <cstdio>

namespace vantor {

std::string Field::pointer() const {
  if (parent == nullptr) return "";
  std::string text = parent->pointer();
  if (name != nullptr) text += std::string("/") + name;
  if (index) text += '/' + std::to_string(*index);
  return text;
}

bool Field::refuse(std::string value, std::string reason) const {
  const Field* record = this;
  while (record->parent != nullptr) record = record->parent;
  *record->refusal = Refusal{pointer(), std::move(value), std::move(reason)};
  return false;
}

std::string hex(std::int64_t value) {
  char text[20];
  std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
  return text;
}

bool inRange(const Field& field, std::int64_t value, std::int64_t max) {
  if (value < 0) return field.refuse(std::to_string(value), "is negative");
  if (value > max) return field.refuse(std::to_string(value), "is above " + hex(max));
  return true;
}

}  // namespace vantor
