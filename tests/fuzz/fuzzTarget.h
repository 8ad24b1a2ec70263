#pragma once

#include <cstddef>
#include <cstdint>

/// What libFuzzer and the replay call with each input. Ends the process when the input uncovers a fault.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
