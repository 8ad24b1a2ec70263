#pragma once

#include <stdexcept>
#include <string>

namespace vantor::tables {

/// What is wrong with an input file. The text is one printable line that names the place and the value.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Replaces what would break a line or a terminal (controls, and with `ascii` everything beyond ASCII) by \xNN,
/// and shortens the text to something that still fits a message.
std::string printable(const std::string& text, bool ascii = false);

}  // namespace vantor::tables
