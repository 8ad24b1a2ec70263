#include "programs/tables/json/pointer.h"

#include "programs/tables/json/InputError.h"

namespace vantor::tables {

void appendStep(std::string& pointer, std::string_view name) {
  pointer += '/';
  for (const char c : name) {
    if (c == '~')
      pointer += "~0";
    else if (c == '/')
      pointer += "~1";
    else
      pointer += c;
  }
}

std::string atPointer(const std::string& pointer, const std::string& what) {
  return pointer.empty() ? what : printable(pointer) + ": " + what;
}

}  // namespace vantor::tables
