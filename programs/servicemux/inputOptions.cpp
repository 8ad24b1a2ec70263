#include "programs/servicemux/inputOptions.h"

#include <string>

#include "programs/inputs/frames.h"

namespace vantor::cli {

namespace {

std::string checkStream(const std::string& text) {
  return inputs::parseEndpoint(text) ? "" : "'" + text + "' is not an address and a port like 239.1.1.1:5004";
}

}  // namespace

void addInputOptions(CLI::App& app, inputs::InputOptions& options) {
  app.add_option(
         "--interface", options.interface,
         "Network interface, by its name or an address, on which to join the multicast group of a live input")
      ->type_name("NAME");
  app.add_option(
         "--stream", options.stream,
         "Which stream of a network capture (pcap, pcapng) to read, by where it goes; the first if not given")
      ->type_name("ADDR:PORT")
      ->check(checkStream);
}

}  // namespace vantor::cli
