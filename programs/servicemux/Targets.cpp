#include "programs/servicemux/Targets.h"

#include <arpa/inet.h>

#include <algorithm>
#include <filesystem>

#include "interface/checks/outputAddress.h"
#include "programs/outputs/NetworkInterface.h"
#include "programs/outputs/OutputError.h"
#include "servicemux/output/deviceInterface.h"

namespace vantor::cli {

namespace {

using outputs::Destination;
using outputs::OutputError;

/// What is read must not be written over.
void keepInputs(const PlayOptions& options) {
  for (const Destination& destination : destinationsOf(options))
    for (const std::string& file : options.files) {
      std::error_code ignored;  // a file that is not there yet is another one
      if (destination.form == Destination::Form::File &&
          std::filesystem::equivalent(destination.path, file, ignored))
        throw OutputError(destination.text + ": it is one of the files to play");
    }
}

/// The library only logs that it cannot open its output, and goes on.
void checkDeviceInterface(const PlayOptions& options) {
  const thrift::general::OutputAddress address = deviceAddressOf(options);
  outputs::SocketAddress destination{};
  destination.ipv4.sin_family = AF_INET;
  inet_pton(AF_INET, address.ip.c_str(), &destination.ipv4.sin_addr);
  if (!thrift::general::isMulticast(destination.ipv4.sin_addr)) return;
  const std::string name = deviceInterface(address.vlan);
  const std::string where = options.to.front() + " through " + name + ": ";
  try {
    if (!outputs::NetworkInterface::find(name).sourceFor(destination)) throw OutputError("it has no IPv4 address");
  } catch (const OutputError& error) {
    throw OutputError(where + error.what());
  }
}

std::shared_ptr<outputs::Outputs> openOutputs(const PlayOptions& options) {
  if (options.deviceAddressing) {
    checkDeviceInterface(options);
    return nullptr;
  }
  keepInputs(options);
  return std::make_shared<outputs::Outputs>(destinationsOf(options), options.sockets);
}

std::vector<std::string> namesOf(const PlayOptions& options) {
  std::vector<std::string> names;
  for (const Destination& destination : destinationsOf(options)) names.push_back(nameOf(destination));
  return names;
}

}  // namespace

Targets::Targets(const PlayOptions& options)
    : names(namesOf(options)), own(openOutputs(options)), rates(names.size()), toTell(names.size()) {}

std::unique_ptr<serviceMux> Targets::makeOutput(const PlayOptions& options) const {
  if (own) return std::make_unique<serviceMux>(options.name.c_str(), own, options.dump);
  return std::make_unique<serviceMux>(options.name.c_str(), deviceAddressOf(options), options.dump);
}

bool Targets::takeStdout() const {
  return own && std::any_of(own->all().begin(), own->all().end(),
                            [](const auto& output) { return output->name() == "stdout"; });
}

std::vector<DestinationState> Targets::states(RateMeter::Clock::time_point now, const MuxerStatistics& statistics) {
  std::vector<DestinationState> states;
  for (std::size_t i = 0; i < names.size(); ++i) {
    outputs::OutputStatus status;
    if (own)
      status = own->all()[i]->status();
    else
      status = {statistics.datagrams, statistics.bytesSent, statistics.sendErrors, 0, 0, 0, false};
    states.push_back({names[i], rates[i].update(now, status.bytes), status.datagrams, status.bytes, status.lost,
                      status.refused, status.error != 0 ? outputs::reasonOf(status.error) : ""});
  }
  return states;
}

std::vector<std::string> Targets::news() {
  std::vector<std::string> lines;
  if (!own) return lines;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const outputs::Output& output = *own->all()[i];
    std::string line = toTell[i].update(output.where(), output.status());
    if (!line.empty()) lines.push_back(std::move(line));
  }
  return lines;
}

bool Targets::areOver() const {
  return own && std::all_of(own->all().begin(), own->all().end(),
                            [](const auto& output) { return output->status().isOver; });
}

void Targets::finish() const {
  if (own) own->finish();
}

bool Targets::areOfUse(const MuxerStatistics& statistics) const {
  if (!own) return statistics.datagrams != 0 || statistics.sendErrors == 0;
  return std::none_of(own->all().begin(), own->all().end(),
                      [](const auto& output) { return outputs::isUnused(output->status()); });
}

}  // namespace vantor::cli
