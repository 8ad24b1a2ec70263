#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interface/psi/descriptors.h"
#include "programs/tables/descriptors/BitReader.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

namespace vantor::tables {

/// How one descriptor looks in JSON: {"name": fields}.
struct DescriptorForm {
  std::uint8_t tag;
  const char* name;  ///< the standard's, without "_descriptor"
  /// The payload that the fields stand for. Throws InputError.
  std::string (*encode)(const JsonValue& fields);
  /// The fields of a payload. The reader tells whether they are good for anything; what encode() does not turn into
  /// the very same bytes is not.
  OrderedJson (*decode)(BitReader& from);
};

using DescriptorForms = std::vector<DescriptorForm>;

DescriptorForms networkForms();
DescriptorForms deliverySystemForms();
DescriptorForms serviceForms();
DescriptorForms eventForms();
DescriptorForms streamForms();
DescriptorForms psipForms();

}  // namespace vantor::tables
