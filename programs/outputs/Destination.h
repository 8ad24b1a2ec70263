#pragma once

#include <string>
#include <variant>

#include "interface/checks/Refusal.h"

namespace vantor::outputs {

/// Where packets are to go, as a user writes it: `HOST:PORT` or `udp://HOST:PORT`, `rtp://HOST:PORT`, `file:PATH`,
/// or
/// `-` for stdout. HOST is a name, an IPv4 address, or an IPv6 address in brackets, which may have a zone:
/// `[fe80::1%eth0]`.
struct Destination {
  enum class Form { Udp, Rtp, File, Stdout };

  Form form = Form::Udp;
  std::string text;  ///< as it was written
  std::string host;  ///< of udp and rtp; an IPv6 address without its brackets
  std::string port;  ///< of udp and rtp: 1 to 65535, in decimal
  std::string path;  ///< of a file
};

/// Reads a destination, or tells what is wrong with the text. Names are not looked up and nothing is opened.
[[nodiscard]] std::variant<Destination, Refusal> parseDestination(const std::string& text);

/// For standard error and the view: "239.1.1.1:5004", and for stdout a word that can be read.
[[nodiscard]] std::string nameOf(const Destination& destination);

}  // namespace vantor::outputs
