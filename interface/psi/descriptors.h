#pragma once

#include <cstddef>
#include <cstdint>

/// What all descriptors share, and the tag of the one that names PIDs: ISO/IEC 13818-1 clause 2.6.

namespace vantor {

/// descriptor_tag and descriptor_length.
constexpr std::size_t kDescriptorHeaderSize = 2;

/// descriptor_length has 8 bits.
constexpr std::size_t kMaxDescriptorData = 255;

constexpr std::uint8_t kCaDescriptorTag = 0x09;

}  // namespace vantor
