#pragma once

#include <unistd.h>

#include <utility>

namespace vantor::outputs {

/// Owns a file descriptor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number(number) {}
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (number >= 0) close(number);
  }

  [[nodiscard]] int get() const { return number; }

 private:
  int number;
};

}  // namespace vantor::outputs
