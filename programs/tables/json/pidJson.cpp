#include "programs/tables/json/pidJson.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "interface/psi/pids.h"

namespace vantor::tables {

namespace {

constexpr std::string_view kPrefix = "0x";
constexpr int kHex = 16;

}  // namespace

std::int32_t readPid(const JsonValue& value) {
  if (!value.isString()) return static_cast<std::int32_t>(value.integer(0, kMaxPid));
  const std::string& text = value.string();
  std::uint32_t pid = 0;
  const char* const end = text.data() + text.size();
  const char* const digits = text.data() + std::min(text.size(), kPrefix.size());
  const auto [last, error] = std::from_chars(digits, end, pid, kHex);
  if (text.compare(0, kPrefix.size(), kPrefix) != 0 || error == std::errc::invalid_argument || last != end)
    value.fail(value.shown() + R"( is no PID like "0x0012" or 18)");
  if (error != std::errc() || pid > kMaxPid) value.fail(value.shown() + " is above " + pidText(kMaxPid));
  return static_cast<std::int32_t>(pid);
}

std::string pidText(std::int32_t pid) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(pid));
  return text;
}

}  // namespace vantor::tables
