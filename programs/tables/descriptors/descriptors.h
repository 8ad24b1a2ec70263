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

/// Whose tables descriptors stand in: what the tags from 0x80 on mean depends on it.
enum class Family { kDvb, kAtsc };

/// Writes the field `descriptors`, unless there are none. A descriptor gets its readable form only where reading
/// that gives the very same bytes again, and where its tag is known to have this meaning.
void writeDescriptors(const Descriptors& descriptors, OrderedJson& owner, Family family = Family::kDvb);

/// Whether a registration_descriptor among those of a program says that it is one of ATSC, A/53 part 3.
bool isRegisteredByAtsc(const Descriptors& descriptors);

Descriptors fromDvbpsi(const dvbpsi_descriptor_t* first);

}  // namespace vantor::tables
