#include "programs/outputs/Destination.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantor::outputs {
namespace {

using Form = Destination::Form;

Destination parsed(const std::string& text) {
  const auto result = parseDestination(text);
  const auto* const destination = std::get_if<Destination>(&result);
  EXPECT_NE(destination, nullptr) << text << ": " << textOf(std::get<Refusal>(result));
  return destination != nullptr ? *destination : Destination();
}

std::string refusalOf(const std::string& text) {
  const auto result = parseDestination(text);
  const auto* const refusal = std::get_if<Refusal>(&result);
  return refusal != nullptr ? textOf(*refusal) : "none";
}

void expectSocket(const std::string& text, Form form, const std::string& host, const std::string& port) {
  const Destination destination = parsed(text);
  EXPECT_EQ(destination.form, form) << text;
  EXPECT_EQ(destination.text, text);
  EXPECT_EQ(destination.host, host) << text;
  EXPECT_EQ(destination.port, port) << text;
}

TEST(Destination, IsUdpWhereNothingElseIsSaid) {
  expectSocket("239.1.1.1:5004", Form::Udp, "239.1.1.1", "5004");
  expectSocket("localhost:1", Form::Udp, "localhost", "1");
  expectSocket("[ff05::1]:65535", Form::Udp, "ff05::1", "65535");
}

TEST(Destination, NamesItsProtocol) {
  for (const auto& [scheme, form] : {std::pair("udp://", Form::Udp), std::pair("rtp://", Form::Rtp)}) {
    expectSocket(scheme + std::string("10.0.0.1:5004"), form, "10.0.0.1", "5004");
    expectSocket(scheme + std::string("modulator-1.example:5004"), form, "modulator-1.example", "5004");
    expectSocket(scheme + std::string("[::1]:5004"), form, "::1", "5004");
    expectSocket(scheme + std::string("[fe80::1%eth0]:5004"), form, "fe80::1%eth0", "5004");
  }
}

TEST(Destination, IsAFileOrStdout) {
  const Destination file = parsed("file:/tmp/a:b.ts");
  EXPECT_EQ(file.form, Form::File);
  EXPECT_EQ(file.path, "/tmp/a:b.ts");
  EXPECT_EQ(nameOf(file), "file:/tmp/a:b.ts");
  EXPECT_EQ(parsed("-").form, Form::Stdout);
  EXPECT_EQ(nameOf(parsed("-")), "stdout");
}

TEST(Destination, IsRefusedWithWhatIsWrong) {
  const std::string forms = "\" is none of HOST:PORT, udp://HOST:PORT, rtp://HOST:PORT, file:PATH and -";
  for (const char* const text : {"", "239.1.1.1", "out.ts", "tcp://1.2.3.4:5", "UDP://1.2.3.4:5", "udp://1.2.3.4",
                                 "rtp://", "[::1]", "udp://[::1]"})
    EXPECT_EQ(refusalOf(text), "\"" + std::string(text) + forms);
  for (const char* const port : {"", "0", "-1", "65536", "5004x", "5004/", "+5", "99999999999999999999"}) {
    EXPECT_EQ(refusalOf("1.2.3.4:" + std::string(port)), '"' + std::string(port) + "\" is no port from 1 to 65535");
    EXPECT_EQ(refusalOf("rtp://[::1]:" + std::string(port)),
              '"' + std::string(port) + "\" is no port from 1 to 65535");
  }
  for (const char* const host : {"1.2.3", "1.2.3.256", "1.2.3.4.5", "7"})
    EXPECT_EQ(refusalOf(std::string(host) + ":5"), '"' + std::string(host) + "\" is no IPv4 address");
  for (const char* const host : {"", "a b", "a@b", "a/b", "[", "ä"})
    EXPECT_EQ(refusalOf("udp://" + std::string(host) + ":5"), '"' + std::string(host) + "\" is no host name");
  for (const char* const host : {"", "1.2.3.4", "::g", "localhost", "fe80::1%", "::1]["})
    EXPECT_EQ(refusalOf("[" + std::string(host) + "]:5"), '"' + std::string(host) + "\" is no IPv6 address");
  EXPECT_EQ(refusalOf("::1:5004"), "\"::1\" is no host; an IPv6 address stands in brackets, like [ff05::1]:5004");
  EXPECT_EQ(refusalOf("file:"), "\"file:\" names no file");
}

}  // namespace
}  // namespace vantor::outputs
