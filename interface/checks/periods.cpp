#include "interface/checks/periods.h"

#include "interface/psi/section.h"

namespace vantor {

std::string milliseconds(std::int64_t period) { return std::to_string(period) + " ms"; }

bool isPeriod(const Field& field, std::int64_t period, unsigned int longest) {
  if (period < kSectionDistance)
    return field.refuse(milliseconds(period), "is below " + milliseconds(kSectionDistance));
  if (period > longest) return field.refuse(milliseconds(period), "is above " + milliseconds(longest));
  return true;
}

}  // namespace vantor
