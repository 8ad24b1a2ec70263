#include "programs/servicemux/playOptions.h"

#include <string_view>

#include "interface/checks/dumpDirectory.h"
#include "interface/checks/outputAddress.h"
#include "programs/servicemux/numberOptions.h"

namespace vantor::cli {

namespace {

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

void declarePlayOptions(CLI::App& app, PlayOptions& options) {
  app.add_option("FILE", options.files,
                 "Table set or capture, which its content tells; of several the later ones win")
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
  app.add_option_function<std::string>(
         "--timing",
         [&options](const std::string& name) {
           options.timing = name == kClassic ? TimingProfile::Classic : TimingProfile::Standards;
         },
         "Whether every period is a maximum, as the standards have it, or held on average; standards if not given")
      ->type_name(std::string("{") + kStandards + "," + kClassic + "}")
      ->check(checkTiming);
  app.add_option("--period", options.periods,
                 "Repeat a table every so many ms, whatever the table sets say; once for each of " + periodNames())
      ->type_name("TABLE=MS")
      ->allow_extra_args(false)
      ->check(checkPeriod);
  addNumber(app, "--datagram-wait", options.datagramWait, 0U, 1000U, "MS",
            "How long a packet waits at most for others to fill its datagram, 20 if not given; not with classic "
            "timing");
  addNumber(app, "--null-period", options.nullPeriod, 1U, 60000U, "MS", "Send a null packet every so many ms");
  addDuration(app, options.duration, "Go off air after so many seconds");
  app.add_option("--dump", options.dump, "Keep files of the tables' sections there while on air")
      ->type_name("DIR")
      ->check([](const std::string& path) { return problemOf(vantor::checkDumpDirectory(path)); });
  app.add_option("--name", options.name, "Name of the output in log messages")->type_name("NAME");
  app.add_flag("-v,--verbose", options.verbose, "Log what happens to the tables; twice: every call");
  app.add_flag("-q,--quiet", options.quiet, "No live view and no summary");
}

}  // namespace vantor::cli
