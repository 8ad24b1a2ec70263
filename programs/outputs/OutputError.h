#pragma once

#include <stdexcept>

namespace vantor::outputs {

/// Why an output cannot be used: one line that names the destination, where it matters the interface, and the
/// reason.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vantor::outputs
