#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <string>
#include <string_view>

/// Numbers on the command line, which several subcommands take.

namespace vantor::cli {

/// Reads a whole text as a number, in decimal.
template <typename Number>
bool parseNumber(std::string_view text, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

/// An option with a number from `min` to `max`.
CLI::Option* addNumber(CLI::App& app, const std::string& name, unsigned int& value, unsigned int min,
                       unsigned int max, const std::string& unit, const std::string& description);

/// --duration, in seconds.
CLI::Option* addDuration(CLI::App& app, double& value, const std::string& description);

}  // namespace vantor::cli
