#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interface/psi/descriptors.h"
#include "programs/tables/descriptors/BitReader.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

namespace vantor::tables {

/// Who gives a tag its meaning. Tags from 0x80 on are for everyone to use: the same one means different things to
/// different owners.
enum class TagOwner {
  kStandard,  ///< ISO/IEC 13818 and EN 300 468, everywhere
  kEacem,     ///< IEC 62216, behind a private_data_specifier that says so
  kAtsc       ///< ATSC, in ATSC's tables and in PMTs of ATSC
};

/// How one descriptor looks in JSON: {"name": fields}.
struct DescriptorForm {
  std::uint8_t tag;
  const char* name;  ///< the standard's, without "_descriptor"
  /// The payload that the fields stand for. Throws InputError.
  std::string (*encode)(const JsonValue& fields);
  /// The fields of a payload. The reader tells whether they are good for anything; what encode() does not turn into
  /// the very same bytes is not.
  OrderedJson (*decode)(BitReader& from);
  TagOwner owner = TagOwner::kStandard;  ///< where it is written; what has the name is read everywhere
};

using DescriptorForms = std::vector<DescriptorForm>;

DescriptorForms mpegForms();
DescriptorForms networkForms();
DescriptorForms deliverySystemForms();
DescriptorForms serviceForms();
DescriptorForms eventForms();
DescriptorForms streamForms();
DescriptorForms psipForms();

}  // namespace vantor::tables
