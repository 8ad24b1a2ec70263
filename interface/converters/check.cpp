#include "interface/converters/check.h"

#include <algorithm>
#include <cstdio>

#include "interface/host.h"

namespace vantor::thrift::dvb_tables {

std::string Field::path() const {
  if (parent == nullptr) return name;
  std::string text = parent->path() + (parent->parent == nullptr ? ": " : ".") + name;
  if (index != kNoIndex) text += '[' + std::to_string(index) + ']';
  return text;
}

bool refuse(const Field& field, const std::string& reason) {
  log_function(HOST_LOG_ERROR, 0, "%s: %s", field.path().c_str(), reason.c_str());
  return false;
}

std::string hex(std::int64_t value) {
  char text[20];
  std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
  return text;
}

bool inRange(const Field& field, std::int64_t value, std::int64_t max) {
  if (value < 0) return refuse(field, std::to_string(value) + " is negative");
  if (value > max) return refuse(field, std::to_string(value) + " is above " + hex(max));
  return true;
}

bool isVersion(const Field& field, std::int64_t version) {
  return version >= 0 || refuse(field, std::to_string(version) + " is negative");
}

std::uint8_t versionByte(std::int64_t version) { return static_cast<std::uint8_t>(std::min(version, kMax8Bits)); }

bool areDescriptors(const Field& parent, const char* list, const std::vector<Descriptor>& descriptors) {
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    const Field field = parent.element(list, i);
    const std::size_t size = descriptors[i].data.size();
    if (!inRange(field["tag"], descriptors[i].tag, kMax8Bits)) return false;
    if (size > kMax8Bits) return refuse(field["data"], std::to_string(size) + " bytes are more than 255");
  }
  return true;
}

bool fitsSectionCount(const Field& field, std::size_t sections) {
  return sections <= kMaxSections || refuse(field, "needs " + std::to_string(sections) + " sections, more than " +
                                                       std::to_string(kMaxSections));
}

bool SectionCount::add(const Field& item, const std::vector<Descriptor>& descriptors, bool startsSection) {
  const std::size_t loop = wireSize(descriptors);
  if (room.itemHead + loop > room.bytes)
    return refuse(item["descriptors"], std::to_string(loop) + " bytes do not fit in a section");
  add(room.itemHead + loop, startsSection);
  return true;
}

void SectionCount::add(std::size_t size, bool startsSection) {
  if (used > 0 && (startsSection || used + size > room.bytes)) {
    ++sections;
    used = 0;
  }
  used += size;
}

std::size_t wireSize(const std::vector<Descriptor>& descriptors) {
  std::size_t size = 0;
  for (const Descriptor& descriptor : descriptors) size += wireSize(descriptor);
  return size;
}

}  // namespace vantor::thrift::dvb_tables
