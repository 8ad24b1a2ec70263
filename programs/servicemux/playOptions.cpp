#include "programs/servicemux/playOptions.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>

namespace vantor::cli {

namespace {

constexpr double kLongestDuration = 1e8;  // s, three years

/// Reads a whole text as a number, in decimal.
template <typename Number>
bool parseNumber(std::string_view text, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

/// A check in CLI11's sense: returns what is wrong, or nothing.
std::string checkDestination(const std::string& text) {
  Destination ignored;
  return parseDestination(text, ignored) ? ""
                                         : "'" + text + "' is not an IPv4 address and a port like 239.1.1.1:5004";
}

std::string checkDuration(const std::string& text) {
  double value = 0;
  const bool isNumber = parseNumber(text, value);
  return isNumber && value > 0 && value <= kLongestDuration ? ""
                                                            : "'" + text + "' is not a number of seconds above 0";
}

template <typename Predicate>
bool allOf(std::string_view text, Predicate predicate) {
  return std::all_of(text.begin(), text.end(), predicate);
}

/// The library hands the name to a shell, and removes every *.bin in the directory when it ends.
std::string checkDumpDirectory(const std::string& path) {
  constexpr std::string_view kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-";
  const auto isAllowed = [&](char c) { return kAllowed.find(c) != std::string_view::npos; };
  if (path.empty() || path.front() == '-' || !allOf(path, isAllowed))
    return "the name '" + path + "' may only hold letters, digits and /._- and not begin with -";
  std::error_code failed;
  if (!std::filesystem::is_directory(path, failed)) return "'" + path + "' is not an existing directory";
  for (const auto& entry : std::filesystem::directory_iterator(path, failed)) {
    const std::string name = entry.path().filename();
    const bool isDump = name.rfind("table_", 0) == 0 || name.rfind("current_", 0) == 0;
    if (entry.path().extension() == ".bin" && !isDump)
      return "'" + path + "' holds " + name + ", and every *.bin there is removed at the end";
  }
  return failed ? "'" + path + "': " + failed.message() : "";
}

template <typename Number>
CLI::Option* addNumber(CLI::App& app, const std::string& name, Number& value, Number min, Number max,
                       const std::string& unit, const std::string& description) {
  return app.add_option(name, value, description)
      ->check([min, max](const std::string& text) -> std::string {
        Number number{};
        if (parseNumber(text, number) && number >= min && number <= max) return "";
        return "'" + text + "' is not a number from " + std::to_string(min) + " to " + std::to_string(max);
      })
      ->type_name(unit);
}

}  // namespace

bool parseDestination(const std::string& text, Destination& destination) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  destination.ip = text.substr(0, colon);
  in_addr ignored{};
  if (inet_pton(AF_INET, destination.ip.c_str(), &ignored) != 1) return false;
  return parseNumber(std::string_view(text).substr(colon + 1), destination.port) && destination.port >= 1 &&
         destination.port <= 65535;
}

void declarePlayOptions(CLI::App& app, PlayOptions& options) {
  app.add_option("FILE", options.files, "Table set (.json) or capture (.ts, .bin); of several the later ones win")
      ->required()
      ->type_name("");
  app.add_option("--to", options.to, "Where the packets go, over UDP")
      ->required()
      ->type_name("IP:PORT")
      ->check(checkDestination);
  addNumber(
      app, "--vlan", options.vlan, 1, 3, "N",
      "VLAN interface of a multicast output, whose address ends in 224 to 239: 1 (ethInt.100), 2 or 3 (those of "
      "the module's slot)");
  addNumber(app, "--bitrate", options.bitrate, 1U, 100000U, "KBPS",
            "Ceiling of the output in kbit/s, 1024 if not given");
  addNumber(app, "--null-period", options.nullPeriod, 1U, 60000U, "MS", "Send a null packet every so many ms");
  app.add_option("--duration", options.duration, "Go off air after so many seconds")
      ->type_name("SECONDS")
      ->check(checkDuration);
  app.add_option("--dump", options.dump, "Keep files of the tables' sections there while on air")
      ->type_name("DIR")
      ->check(checkDumpDirectory);
  app.add_option("--name", options.name, "Name of the output in log messages")->type_name("NAME");
  app.add_flag("-v,--verbose", options.verbose, "Log what happens to the tables; twice: every call");
  app.add_flag("-q,--quiet", options.quiet, "No live view and no summary");
}

}  // namespace vantor::cli
