#pragma once

#include <cstdint>
#include <string>

#include "programs/tables/json/JsonValue.h"

/// PIDs in JSON, which has no numbers in hex: "0x0012", or 18.

namespace vantor::tables {

/// The PID of 13 bits that a value stands for in either form.
std::int32_t readPid(const JsonValue& value);

/// "0x0012", with four digits.
std::string pidText(std::int32_t pid);

}  // namespace vantor::tables
