#include "programs/tables/sections/sectionFile.h"

#include <string>

#include "programs/tables/json/InputError.h"

namespace vantor::tables {

void readSectionFile(std::string_view bytes, const std::function<void(const Section&)>& onSection,
                     const std::function<void(SectionFault)>& onFault) {
  if (bytes.empty()) throw InputError("the file is empty");
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string_view rest = bytes.substr(at);
    const std::size_t size =
        rest.size() < kSectionHeaderSize ? kSectionHeaderSize : kSectionHeaderSize + sectionLength(rest);
    if (size > rest.size())
      throw InputError("byte " + std::to_string(at) + ": a section of " + std::to_string(size) +
                       " bytes, of which only " + std::to_string(rest.size()) + " are there");
    const std::string_view section = rest.substr(0, size);
    const SectionFault fault = Section::check(section);
    if (fault == SectionFault::none)
      onSection(Section(std::string(section)));
    else
      onFault(fault);
    at += size;
  }
}

}  // namespace vantor::tables
