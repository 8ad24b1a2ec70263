#pragma once

#include <gmock/gmock.h>

#include <optional>
#include <string>

#include "interface/checks/Refusal.h"

namespace vantor {

inline void PrintTo(const Refusal& refusal, std::ostream* out) {
  *out << '"' << refusal.path << "\": \"" << refusal.value << "\" \"" << refusal.reason << '"';
}

}  // namespace vantor

/// Matches the result of a check that refuses with all of these.
inline auto refuses(const std::string& path, const std::string& value, const std::string& reason) {
  return testing::Optional(vantor::Refusal{path, value, reason});
}

/// Matches the result of a check that refuses nothing.
inline auto passes() { return testing::Eq(std::nullopt); }
