#pragma once

#include <vector>

namespace vantor::cli {

/// One descriptor to wait for several: readable, in the sense of poll(2), when one of them is.
class Wake {
 public:
  /// Negative ones are left out.
  explicit Wake(const std::vector<int>& descriptors);
  Wake(const Wake&) = delete;
  Wake& operator=(const Wake&) = delete;
  ~Wake();

  void remove(int other) const;

  [[nodiscard]] int fd() const { return descriptor; }

 private:
  int descriptor;
};

/// Whether it is readable now; a negative one never is.
[[nodiscard]] bool isReadable(int descriptor);

}  // namespace vantor::cli
