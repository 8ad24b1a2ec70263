#include <iostream>
#include <string>

#include "interface/host.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/review/findings.h"
#include "programs/tables/sets/tableSetJson.h"

/// What the reader says of table sets, one on each line of stdin: a JSON array of errors for each, empty for none.

void log_function(int, int, const char*, ...) {}

namespace {

using namespace vantor::tables;

/// Versions that no section can carry are refused where a set is looked at.
void addVersions(const TableSet& set, Json& errors) {
  for (const Finding& finding : findingsIn(set, vantor::TimingProfile::Standards))
    if (finding.place.rest == "/version_number") errors.push_back(finding.text);
}

Json errorsOf(const std::string& line) {
  Json errors = Json::array();
  try {
    addVersions(readTableSet(line), errors);
  } catch (const InputError& error) {
    for (const std::string& text : linesOf(error)) errors.push_back(text);
  }
  return errors;
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) std::cout << errorsOf(line).dump() << "\n";
}
