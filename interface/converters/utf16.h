#pragma once

#include <optional>
#include <string>

namespace vantor::thrift::dvb_tables {

/// The UTF-16 code units of a UTF-8 text; none when the bytes are not UTF-8.
std::optional<std::u16string> utf16Of(const std::string& utf8);

}  // namespace vantor::thrift::dvb_tables
