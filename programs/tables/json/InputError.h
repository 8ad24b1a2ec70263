#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace vantor::tables {

/// What is wrong with an input file. The text is one printable line that names the place and the value.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Several of them, with the text of the first one.
class InputErrors : public InputError {
 public:
  InputErrors() : InputError("") {}

  /// Keeps an error; of another InputErrors all of them.
  void add(const std::string& text) { texts.push_back(text); }
  void add(const InputError& error);
  /// Runs something and keeps the error that it throws.
  template <typename Step>
  void gather(Step step) {
    try {
      step();
    } catch (const InputError& error) {
      add(error);
    }
  }
  void throwIfAny() const {
    if (!texts.empty()) throw InputErrors(*this);
  }

  const char* what() const noexcept override { return texts.empty() ? "" : texts.front().c_str(); }
  const std::vector<std::string>& all() const { return texts; }

 private:
  std::vector<std::string> texts;
};

/// All that an error has to say, one line each.
std::vector<std::string> linesOf(const InputError& error);

/// Replaces what would break a line or a terminal (controls, and with `ascii` everything beyond ASCII) by \xNN,
/// and shortens the text to something that still fits a message.
std::string printable(const std::string& text, bool ascii = false);

}  // namespace vantor::tables
