#pragma once

#include <optional>

#include "interface/checks/Refusal.h"
#include "interface/dvbpsi.h"
#include "interface/psi/tableTypes.h"
#include "interface/records.h"

namespace vantor::thrift::dvb_tables {

/// Why the sections cannot be carried on the wire, if they cannot. Any PID but that of null packets will do, those
/// that the standards reserve too: what a capture has there can go there again.
[[nodiscard]] std::optional<Refusal> check(const Sections& record);

/// The table_id and table_id_extension of a record that has passed the check. The latter is 0 without
/// section_syntax_indicator.
[[nodiscard]] psi::TableKey tableKeyOf(const Sections& record);

/// Makes libdvbpsi's sections of the record, to the byte. The caller frees them with dvbpsi_DeletePSISections.
/// Returns null when the record cannot be carried on the wire, after an error in the log that names the field and
/// its value.
dvbpsi_psi_section_t* t2dSections(const Sections& record);

}  // namespace vantor::thrift::dvb_tables
