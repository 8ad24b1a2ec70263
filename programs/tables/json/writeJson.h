#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace vantor::tables {

/// Keeps the fields in the order in which they were added.
using OrderedJson = nlohmann::ordered_json;

/// Lays a document out for people: what fits on one line stands on one line.
std::string writeJson(const OrderedJson& document);

std::string hexDigits(const std::string& bytes);

}  // namespace vantor::tables
