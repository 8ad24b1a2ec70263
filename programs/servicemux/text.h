#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Small pieces of text that several displays share.

namespace vantor::cli {

/// 1234567 as "1 234 567".
std::string grouped(std::uint64_t value);

/// 0x1FFF as "0x1FFF", with four digits.
std::string hexPid(unsigned int pid);

/// "1 packet", "2 packets".
std::string counted(std::uint64_t count, const std::string& singular);

/// 12.345 as "12.3".
std::string decimal(double value);

/// "01:02:03"
std::string clock(std::chrono::milliseconds elapsed);

std::string padLeft(const std::string& text, std::size_t width);
std::string padRight(const std::string& text, std::size_t width);

/// Few enough of many lines, and how many are left out: whoever reads them has no use for thousands. The last line
/// stays.
std::vector<std::string> shortened(std::vector<std::string> lines);

}  // namespace vantor::cli
