#pragma once

#include <string>
#include <string_view>

/// JSON pointers, RFC 6901.

namespace vantor::tables {

/// Appends one step.
void appendStep(std::string& pointer, std::string_view name);

/// What an error says of the value that a pointer leads to.
std::string atPointer(const std::string& pointer, const std::string& what);

}  // namespace vantor::tables
