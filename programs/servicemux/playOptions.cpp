#include "programs/servicemux/playOptions.h"

#include <charconv>
#include <string_view>

#include "interface/checks/dumpDirectory.h"
#include "interface/checks/outputAddress.h"

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
std::string problemOf(const std::optional<Refusal>& refusal) { return refusal ? textOf(*refusal) : ""; }

std::string checkDestination(const std::string& text) {
  const auto address = parseDestination(text);
  if (!address) return "'" + text + "' is not an IPv4 address and a port like 239.1.1.1:5004";
  return problemOf(check(*address));
}

std::string checkVlan(const std::string& text) {
  std::int32_t vlan = 0;
  return parseNumber(text, vlan) ? problemOf(thrift::general::checkVlan(vlan)) : "'" + text + "' is not a number";
}

std::string checkDuration(const std::string& text) {
  double value = 0;
  const bool isNumber = parseNumber(text, value);
  return isNumber && value > 0 && value <= kLongestDuration ? ""
                                                            : "'" + text + "' is not a number of seconds above 0";
}

CLI::Option* addNumber(CLI::App& app, const std::string& name, unsigned int& value, unsigned int min,
                       unsigned int max, const std::string& unit, const std::string& description) {
  return app.add_option(name, value, description)
      ->check([min, max](const std::string& text) -> std::string {
        unsigned int number = 0;
        if (parseNumber(text, number) && number >= min && number <= max) return "";
        return "'" + text + "' is not a number from " + std::to_string(min) + " to " + std::to_string(max);
      })
      ->type_name(unit);
}

}  // namespace

std::optional<thrift::general::OutputAddress> parseDestination(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  thrift::general::OutputAddress address;
  address.ip = text.substr(0, colon);
  address.vlan = PlayOptions().vlan;
  if (!parseNumber(std::string_view(text).substr(colon + 1), address.port)) return std::nullopt;
  return address;
}

void declarePlayOptions(CLI::App& app, PlayOptions& options) {
  app.add_option("FILE", options.files, "Table set (.json) or capture (.ts, .bin); of several the later ones win")
      ->required()
      ->type_name("");
  app.add_option("--to", options.to, "Where the packets go, over UDP")
      ->required()
      ->type_name("IP:PORT")
      ->check(checkDestination);
  app.add_option("--vlan", options.vlan,
                 "VLAN interface of a multicast output, whose address ends in 224 to 239: 1 (ethInt.100), 2 or 3 "
                 "(those of the module's slot)")
      ->type_name("N")
      ->check(checkVlan);
  addNumber(app, "--bitrate", options.bitrate, 1, 100000, "KBPS",
            "Ceiling of the output in kbit/s, 1024 if not given");
  addNumber(app, "--null-period", options.nullPeriod, 1, 60000, "MS", "Send a null packet every so many ms");
  app.add_option("--duration", options.duration, "Go off air after so many seconds")
      ->type_name("SECONDS")
      ->check(checkDuration);
  app.add_option("--dump", options.dump, "Keep files of the tables' sections there while on air")
      ->type_name("DIR")
      ->check([](const std::string& path) { return problemOf(vantor::checkDumpDirectory(path)); });
  app.add_option("--name", options.name, "Name of the output in log messages")->type_name("NAME");
  app.add_flag("-v,--verbose", options.verbose, "Log what happens to the tables; twice: every call");
  app.add_flag("-q,--quiet", options.quiet, "No live view and no summary");
}

}  // namespace vantor::cli
