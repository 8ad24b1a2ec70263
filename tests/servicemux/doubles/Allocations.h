#pragma once

#include <cstdint>

/// Allocations of the whole program so far, by malloc, new and their relatives.
std::uint64_t countAllocations();
/// The same for what was given back.
std::uint64_t countReleases();
