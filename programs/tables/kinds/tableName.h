#pragma once

#include <cstdint>
#include <string>

namespace vantor::tables {

/// What people call the table of this id.
std::string tableName(std::uint8_t tableId);

}  // namespace vantor::tables
