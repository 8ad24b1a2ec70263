#include "programs/servicemux/numberOptions.h"

namespace vantor::cli {

namespace {

constexpr double kLongestDuration = 1e8;  // s, three years

std::string checkDuration(const std::string& text) {
  double value = 0;
  const bool isNumber = parseNumber(text, value);
  return isNumber && value > 0 && value <= kLongestDuration ? ""
                                                            : "'" + text + "' is not a number of seconds above 0";
}

}  // namespace

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

CLI::Option* addDuration(CLI::App& app, double& value, const std::string& description) {
  return app.add_option("--duration", value, description)->type_name("SECONDS")->check(checkDuration);
}

}  // namespace vantor::cli
