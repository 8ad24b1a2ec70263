#include "programs/tables/kinds/serviceFields.h"

#include <algorithm>
#include <array>
#include <string>

#include "programs/tables/json/InputError.h"

namespace vantor::tables {

namespace {

constexpr const char* kField = "running_status";
constexpr std::array<const char*, 6> kNames{"undefined", "not_running", "starts_in_a_few_seconds",
                                            "pausing",   "running",     "off_air"};

std::int16_t statusNamed(const JsonValue& value) {
  const auto* const name = std::find(kNames.begin(), kNames.end(), value.string());
  if (name != kNames.end()) return static_cast<std::int16_t>(name - kNames.begin());
  std::string expected;
  for (const char* known : kNames) expected += std::string(expected.empty() ? "" : ", ") + known;
  value.fail(printable("\"" + value.string() + "\"") + " is none of " + expected);
}

}  // namespace

std::int16_t readRunningStatus(const JsonValue& owner) {
  const auto value = owner.optional(kField);
  if (!value) return 0;
  if (value->isString()) return statusNamed(*value);
  return value->integer<std::int16_t>();
}

void writeRunningStatus(std::int16_t status, OrderedJson& owner) {
  if (status == 0) return;
  const auto i = static_cast<std::size_t>(status);
  if (i < kNames.size())
    owner[kField] = kNames.at(i);
  else
    owner[kField] = status;
}

}  // namespace vantor::tables
