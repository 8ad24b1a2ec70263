#pragma once

#include <string>

namespace vantor::cli {

/// Writes a file as a whole or not at all: beside it first, then under its name. What is no regular file is written
/// to as it is. A signal that asks the program to end is heeded within the writing and leaves no half file. Throws
/// outputs::OutputError.
void writeOutputFile(const std::string& path, const std::string& text);

/// Whether both paths lead to the same file.
bool isSameFile(const std::string& one, const std::string& other);

}  // namespace vantor::cli
