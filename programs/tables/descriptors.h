#pragma once

#include <vector>

#include "interface/dvbpsi.h"
#include "interface/records.h"
#include "programs/tables/JsonReader.h"
#include "programs/tables/JsonWriter.h"

/// Descriptors in JSON: {"tag": 72, "data": "hex"}.

namespace vantor::tables {

using Descriptors = std::vector<thrift::dvb_tables::Descriptor>;

/// Reads the field `descriptors` of an object, which may be absent.
Descriptors readDescriptors(const JsonValue& owner);

/// Writes the field `descriptors`, unless there are none.
void writeDescriptors(const Descriptors& descriptors, OrderedJson& owner);

Descriptors fromDvbpsi(const dvbpsi_descriptor_t* first);

}  // namespace vantor::tables
