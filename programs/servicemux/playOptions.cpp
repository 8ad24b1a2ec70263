#include "programs/servicemux/playOptions.h"

#include <charconv>
#include <string_view>

#include "interface/checks/dumpDirectory.h"
#include "interface/checks/outputAddress.h"
#include "programs/tables/sets/wholeSet.h"

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

/// "pat, pmt, ..., emm"
std::string periodNames() {
  std::string names;
  for (const PeriodField& field : periodFields()) names += (names.empty() ? "" : ", ") + std::string(field.name);
  return names;
}

std::string checkPeriod(const std::string& text) {
  const auto given = parsePeriod(text);
  if (!given) return "'" + text + "' is not a table of --help and its period in ms like pat=100";
  const std::string problem = problemOf(check(*given->field, given->period));
  return problem.empty() ? "" : given->field->name + (": " + problem);
}

constexpr const char* kStandards = "standards";
constexpr const char* kClassic = "classic";

std::string checkTiming(const std::string& text) {
  return text == kStandards || text == kClassic ? ""
                                                : "'" + text + "' is neither " + kStandards + " nor " + kClassic;
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

std::optional<GivenPeriod> parsePeriod(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) return std::nullopt;
  GivenPeriod given{findPeriodField(text.substr(0, equals)), 0};
  if (given.field == nullptr || !parseNumber(std::string_view(text).substr(equals + 1), given.period))
    return std::nullopt;
  return given;
}

InsertionPeriods periodsOf(const tables::TableSet& set, const TableOptions& options) {
  InsertionPeriods periods = tables::periodsOf(set);
  for (const std::string& text : options.periods) {
    const GivenPeriod given = parsePeriod(text).value();
    periods.*given.field->value = static_cast<unsigned int>(given.period);
  }
  return periods;
}

void declareFiles(CLI::App& app, TableOptions& options) {
  app.add_option("FILE", options.files, "Table set (.json) or capture (.ts, .bin); of several the later ones win")
      ->required()
      ->type_name("");
}

void declareBitrate(CLI::App& app, TableOptions& options) {
  addNumber(app, "--bitrate", options.bitrate, 1, 100000, "KBPS",
            "Ceiling of the output in kbit/s, 1024 if not given");
}

void declareTiming(CLI::App& app, TableOptions& options) {
  app.add_option_function<std::string>(
         "--timing",
         [&options](const std::string& name) {
           options.timing = name == kClassic ? TimingProfile::Classic : TimingProfile::Standards;
         },
         "Whether every period is a maximum, as the standards have it, or held on average; standards if not given")
      ->type_name(std::string("{") + kStandards + "," + kClassic + "}")
      ->check(checkTiming);
}

void declarePeriods(CLI::App& app, TableOptions& options) {
  app.add_option("--period", options.periods,
                 "Repeat a table every so many ms, whatever the table sets say; once for each of " + periodNames())
      ->type_name("TABLE=MS")
      ->allow_extra_args(false)
      ->check(checkPeriod);
}

void declarePlayOptions(CLI::App& app, PlayOptions& options) {
  declareFiles(app, options);
  app.add_option("--to", options.to, "Where the packets go, over UDP")
      ->required()
      ->type_name("IP:PORT")
      ->check(checkDestination);
  app.add_option("--vlan", options.vlan,
                 "VLAN interface of a multicast output, whose address ends in 224 to 239: 1 (ethInt.100), 2 or 3 "
                 "(those of the module's slot)")
      ->type_name("N")
      ->check(checkVlan);
  declareBitrate(app, options);
  declareTiming(app, options);
  declarePeriods(app, options);
  addNumber(app, "--datagram-wait", options.datagramWait, 0U, 1000U, "MS",
            "How long a packet waits at most for others to fill its datagram, 20 if not given; not with classic "
            "timing");
  addNumber(app, "--null-period", options.nullPeriod, 1U, 60000U, "MS", "Send a null packet every so many ms");
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
