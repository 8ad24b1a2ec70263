#include "interface/converters/check.h"

#include <algorithm>

#include "interface/host.h"

namespace vantor::thrift::dvb_tables {

namespace {

/// "/programs/3/pid" as log lines have it: "programs[3].pid".
std::string fieldAt(const std::string& pointer) {
  std::string field;
  for (std::size_t step = 0; step < pointer.size();) {
    const std::size_t next = std::min(pointer.find('/', step + 1), pointer.size());
    const std::string name = pointer.substr(step + 1, next - step - 1);
    const bool isIndex = name.find_first_not_of("0123456789") == std::string::npos;
    field += isIndex ? '[' + name + ']' : (field.empty() ? name : '.' + name);
    step = next;
  }
  return field;
}

}  // namespace

bool isRefused(const char* record, const std::optional<Refusal>& refusal) {
  if (!refusal) return false;
  const std::string field = refusal->path.empty() ? "" : fieldAt(refusal->path) + ": ";
  log_function(HOST_LOG_ERROR, 0, "%s: %s%s", record, field.c_str(), textOf(*refusal).c_str());
  return true;
}

bool isVersion(const Field& field, std::int64_t version) {
  return version >= 0 || field.refuse(std::to_string(version), "is negative");
}

std::uint8_t versionByte(std::int64_t version) { return static_cast<std::uint8_t>(std::min(version, kMax8Bits)); }

bool areDescriptors(const Field& parent, const char* list, const std::vector<Descriptor>& descriptors) {
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    const Field field = parent.element(list, i);
    const std::size_t size = descriptors[i].data.size();
    if (!inRange(field["tag"], descriptors[i].tag, kMax8Bits)) return false;
    if (size > kMaxDescriptorData)
      return field["data"].refuse(std::to_string(size) + " bytes",
                                  "are more than " + std::to_string(kMaxDescriptorData));
  }
  return true;
}

bool fitsSectionCount(const Field& field, std::size_t sections) {
  return sections <= kMaxSections ||
         field.refuse("needs " + std::to_string(sections) + " sections, more than " + std::to_string(kMaxSections));
}

bool SectionCount::add(const Field& item, const std::vector<Descriptor>& descriptors, bool startsSection) {
  const std::size_t loop = wireSize(descriptors);
  if (room.itemHead + loop > room.bytes)
    return item["descriptors"].refuse(std::to_string(loop) + " bytes", "do not fit in a section");
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
