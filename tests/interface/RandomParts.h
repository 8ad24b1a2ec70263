#pragma once

#include <random>
#include <string>

#include "interface/records.h"

/// Parts of records, the same for the same seed.
class RandomParts {
 public:
  explicit RandomParts(unsigned seed) : random(seed) {}

  /// Up to `most` descriptors with sizes from a range that differs from list to list.
  std::vector<vantor::thrift::dvb_tables::Descriptor> descriptors(int most) {
    std::vector<vantor::thrift::dvb_tables::Descriptor> list(static_cast<std::size_t>(number(0, most)));
    const int longest = number(0, 1) == 0 ? 255 : number(0, 255);
    for (auto& descriptor : list) {
      descriptor.tag = static_cast<std::int16_t>(number(0, 255));
      descriptor.data =
          std::string(static_cast<std::size_t>(number(0, longest)), static_cast<char>(number(0, 255)));
    }
    return list;
  }

  int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); }
  bool oneIn(int n) { return number(1, n) == 1; }

 private:
  std::mt19937 random;
};
