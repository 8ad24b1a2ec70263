#include "programs/servicemux/playOptions.h"

#include <algorithm>
#include <string_view>
#include <variant>

#include "interface/checks/dumpDirectory.h"
#include "interface/checks/outputAddress.h"
#include "programs/servicemux/numberOptions.h"
#include "programs/tables/sets/wholeSet.h"

namespace vantor::cli {

namespace {

/// A check in CLI11's sense: returns what is wrong, or nothing.
std::string problemOf(const std::optional<Refusal>& refusal) { return refusal ? textOf(*refusal) : ""; }

std::string checkDestination(const std::string& text) {
  const auto parsed = outputs::parseDestination(text);
  const Refusal* const refusal = std::get_if<Refusal>(&parsed);
  return refusal != nullptr ? textOf(*refusal) : "";
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

void declareOutputOptions(CLI::App& app, PlayOptions& options) {
  app.add_option("--to", options.to,
                 "Where the packets go: HOST:PORT or udp://HOST:PORT, rtp://HOST:PORT, file:PATH, or - for stdout; "
                 "an IPv6 address stands in brackets. Once for each of several")
      ->required()
      ->type_name("DEST")
      ->allow_extra_args(false)
      ->check(checkDestination);
  auto* const interface =
      app.add_option("--interface", options.sockets.interface,
                     "Interface that multicast leaves through, by its name or one of its addresses; other packets "
                     "get its address as their source")
          ->type_name("NAME|ADDRESS");
  auto* const ttl = addNumber(app, "--ttl", options.sockets.ttl, 1, 255, "N",
                              "TTL or hop limit; the system's if not given, 1 for multicast");
  auto* const dscp = addNumber(app, "--dscp", options.sockets.dscp, 0, 63, "N", "DSCP, 0 if not given");
  auto* const device =
      app.add_flag("--device-addressing", options.deviceAddressing,
                   "Send by the device's address plan: an IPv4 address that ends in 224 to 239 is multicast and "
                   "leaves through the interface of --vlan, any other is sent to directly; the TTL is 1")
          ->excludes(interface)
          ->excludes(ttl)
          ->excludes(dscp);
  app.add_option("--vlan", options.vlan,
                 "VLAN of --device-addressing: 1 (ethInt.100), 2 or 3 (those of the module's slot)")
      ->type_name("N")
      ->check(checkVlan)
      ->needs(device);
}

}  // namespace

std::vector<outputs::Destination> destinationsOf(const PlayOptions& options) {
  std::vector<outputs::Destination> destinations;
  for (const std::string& text : options.to)
    destinations.push_back(std::get<outputs::Destination>(outputs::parseDestination(text)));
  return destinations;
}

thrift::general::OutputAddress deviceAddressOf(const PlayOptions& options) {
  const outputs::Destination destination = destinationsOf(options).front();
  thrift::general::OutputAddress address;
  address.ip = destination.host;
  parseNumber(std::string_view(destination.port), address.port);
  address.vlan = options.vlan;
  return address;
}

void checkTogether(const PlayOptions& options) {
  const auto refuse = [](const std::string& what) { throw CLI::ValidationError("--to", what); };
  for (auto text = options.to.begin(); text != options.to.end(); ++text)
    if (std::find(options.to.begin(), text, *text) != text) refuse("'" + *text + "' is given twice");
  if (!options.deviceAddressing) return;
  if (options.to.size() > 1) refuse("the device's addressing has one destination");
  if (destinationsOf(options).front().form != outputs::Destination::Form::Udp)
    refuse("the device's addressing sends over UDP alone");
  if (const auto refusal = check(deviceAddressOf(options))) refuse(textOf(*refusal));
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
  app.add_option("FILE", options.files,
                 "Table set or capture, which its content tells; of several the later ones win")
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
  declareOutputOptions(app, options);
  declareBitrate(app, options);
  declareTiming(app, options);
  declarePeriods(app, options);
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
