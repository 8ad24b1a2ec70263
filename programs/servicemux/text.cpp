#include "programs/servicemux/text.h"

#include <cstdio>

#include "programs/tables/json/pidJson.h"

namespace vantor::cli {

namespace {

constexpr std::size_t kMostLines = 20;

}  // namespace

std::string grouped(std::uint64_t value) {
  std::string digits = std::to_string(value);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, " ");
  return digits;
}

std::string hexPid(unsigned int pid) { return tables::pidText(static_cast<std::int32_t>(pid)); }

std::string counted(std::uint64_t count, const std::string& singular) {
  return grouped(count) + " " + singular + (count == 1 ? "" : "s");
}

std::string decimal(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

std::string clock(std::chrono::milliseconds elapsed) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02d:%02d", static_cast<long long>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return text;
}

std::string padLeft(const std::string& text, std::size_t width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::string padRight(const std::string& text, std::size_t width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::vector<std::string> shortened(std::vector<std::string> lines) {
  if (lines.size() <= kMostLines) return lines;
  const std::string more = "and " + grouped(lines.size() - kMostLines + 1) + " more of these";
  lines.erase(lines.begin() + kMostLines - 2, lines.end() - 1);
  lines.insert(lines.end() - 1, more);
  return lines;
}

}  // namespace vantor::cli
