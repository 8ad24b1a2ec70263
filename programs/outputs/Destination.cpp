#include "programs/outputs/Destination.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace vantor::outputs {

namespace {

constexpr const char* kForms = "is none of HOST:PORT, udp://HOST:PORT, rtp://HOST:PORT, file:PATH and -";
constexpr const char* kNamePunctuation = "-._";  // of host names, beside letters and digits
constexpr int kLastPort = 65535;

Refusal refuse(const std::string& value, const char* reason) { return {"", '"' + value + '"', reason}; }

bool isAddress(int family, const std::string& text) {
  in6_addr address{};  // as large as any
  return text.find('\0') == std::string::npos && inet_pton(family, text.c_str(), &address) == 1;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isNameCharacter(char c) {
  const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  return isLetter || isDigit(c) || std::string_view(kNamePunctuation).find(c) != std::string_view::npos;
}

/// A name whose last part is a number is meant as an IPv4 address; resolvers take some of these, "1.2.3"
/// as 1.2.0.3.
bool looksLikeIpv4(const std::string& host) {
  const std::string last = host.substr(host.rfind('.') + 1);
  return !last.empty() && std::all_of(last.begin(), last.end(), isDigit);
}

std::optional<Refusal> checkHost(const std::string& host) {
  if (host.find(':') != std::string::npos)
    return refuse(host, "is no host; an IPv6 address stands in brackets, like [ff05::1]:5004");
  if (looksLikeIpv4(host))
    return isAddress(AF_INET, host) ? std::nullopt : std::optional(refuse(host, "is no IPv4 address"));
  if (host.empty() || !std::all_of(host.begin(), host.end(), isNameCharacter))
    return refuse(host, "is no host name");
  return std::nullopt;
}

std::optional<Refusal> checkIpv6(const std::string& host) {
  const std::size_t percent = host.find('%');
  const bool hasEmptyZone = percent != std::string::npos && percent + 1 == host.size();
  if (hasEmptyZone || !isAddress(AF_INET6, host.substr(0, percent))) return refuse(host, "is no IPv6 address");
  return std::nullopt;
}

std::optional<Refusal> checkPort(const std::string& port) {
  int number = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  if (error == std::errc() && end == port.data() + port.size() && number >= 1 && number <= kLastPort)
    return std::nullopt;
  return refuse(port, "is no port from 1 to 65535");
}

std::variant<Destination, Refusal> parseSocket(Destination::Form form, const std::string& text,
                                               const std::string& hostAndPort) {
  const std::size_t colon = hostAndPort.rfind(':');
  const std::size_t bracket = hostAndPort.rfind(']');
  if (colon == std::string::npos || (bracket != std::string::npos && colon < bracket)) return refuse(text, kForms);
  Destination made{form, text, hostAndPort.substr(0, colon), hostAndPort.substr(colon + 1), ""};
  const bool isBracketed = made.host.size() > 1 && made.host.front() == '[' && made.host.back() == ']';
  if (isBracketed) made.host = made.host.substr(1, made.host.size() - 2);
  if (const auto refusal = isBracketed ? checkIpv6(made.host) : checkHost(made.host)) return *refusal;
  if (const auto refusal = checkPort(made.port)) return *refusal;
  return made;
}

/// What follows a prefix of the text; nothing when it begins otherwise.
std::optional<std::string> behind(const char* prefix, const std::string& text) {
  const std::string_view start(prefix);
  if (std::string_view(text).substr(0, start.size()) != start) return std::nullopt;
  return text.substr(start.size());
}

}  // namespace

std::variant<Destination, Refusal> parseDestination(const std::string& text) {
  using Form = Destination::Form;
  if (text == "-") return Destination{Form::Stdout, text, "", "", ""};
  if (const auto path = behind("file:", text)) {
    if (path->empty() || path->find('\0') != std::string::npos) return refuse(text, "names no file");
    return Destination{Form::File, text, "", "", *path};
  }
  if (const auto rest = behind("udp://", text)) return parseSocket(Form::Udp, text, *rest);
  if (const auto rest = behind("rtp://", text)) return parseSocket(Form::Rtp, text, *rest);
  if (text.find("://") != std::string::npos) return refuse(text, kForms);
  return parseSocket(Form::Udp, text, text);
}

std::string nameOf(const Destination& destination) {
  return destination.form == Destination::Form::Stdout ? "stdout" : destination.text;
}

}  // namespace vantor::outputs
