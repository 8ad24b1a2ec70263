#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "interface/records.h"

/// Parts of records with random values; the same ones on each run.
class RandomRecords {
 public:
  explicit RandomRecords(unsigned int seed) : generator(seed) {}

  /// From 0 to `max`.
  template <typename Number = int>
  Number number(Number max) {
    return std::uniform_int_distribution<Number>(0, max)(generator);
  }

  bool flag() { return number(1) != 0; }

  /// Mostly small, at most `max`.
  std::size_t size(int max) { return static_cast<std::size_t>(number(number(max))); }

  /// Up to 20 descriptors, at most `maxLoop` bytes of them with their headers.
  std::vector<vantor::thrift::dvb_tables::Descriptor> descriptors(std::size_t maxLoop) {
    std::vector<vantor::thrift::dvb_tables::Descriptor> descriptors;
    const int longest = number(255);
    std::size_t room = maxLoop;
    for (std::size_t count = size(20); count > 0 && room >= 2; --count) {
      auto& descriptor = descriptors.emplace_back();
      descriptor.tag = static_cast<std::int16_t>(number(255));
      descriptor.data.resize(std::min(size(longest), room - 2));
      for (char& byte : descriptor.data) byte = static_cast<char>(number(255));
      room -= 2 + descriptor.data.size();
    }
    return descriptors;
  }

 private:
  std::mt19937 generator;
};
