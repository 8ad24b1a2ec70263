#pragma once

#include <vector>

#include "interface/dvbpsi.h"
#include "interface/records.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

/// Descriptors in JSON: {"service": {"service_type": 1, ...}} for those that have a readable form here,
/// {"tag": 72, "data": "hex"} for all.

namespace vantor::tables {

using Descriptors = std::vector<thrift::dvb_tables::Descriptor>;

/// Reads the field `descriptors` of an object, which may be absent. Takes both forms.
Descriptors readDescriptors(const JsonValue& owner);

/// Writes the field `descriptors`, unless there are none. A descriptor gets its readable form only where reading
/// that gives the very same bytes again.
void writeDescriptors(const Descriptors& descriptors, OrderedJson& owner);

Descriptors fromDvbpsi(const dvbpsi_descriptor_t* first);

}  // namespace vantor::tables
