#include "interface/converters/t2dPAT.h"

#include <memory>

#include "interface/converters/check.h"

namespace vantor::thrift::dvb_tables {

namespace {

bool canBeSent(const Field& pat, const PAT& record) {
  if (!inRange(pat["transport_stream_id"], record.transport_stream_id, kMax16Bits)) return false;
  if (!isVersion(pat["version_number"], record.version_number)) return false;
  for (std::size_t i = 0; i < record.programs.size(); ++i) {
    const Field program = pat.element("programs", i);
    if (!inRange(program["program_number"], record.programs[i].program_number, kMax16Bits)) return false;
    if (!inRange(program["pid"], record.programs[i].pid, kMaxPid)) return false;
  }
  return fitsSectionCount(pat["programs"],
                          (record.programs.size() + kProgramsPerPatSection - 1) / kProgramsPerPatSection);
}

}  // namespace

std::optional<Refusal> check(const PAT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_pat_t* t2dPAT(const PAT& record) {
  if (isRefused("PAT", check(record))) return nullptr;
  std::unique_ptr<dvbpsi_pat_t, decltype(&dvbpsi_pat_delete)> pat(
      dvbpsi_pat_new(static_cast<std::uint16_t>(record.transport_stream_id), versionByte(record.version_number),
                     record.current_next_indicator),
      &dvbpsi_pat_delete);
  if (!pat) return nullptr;
  for (const PATProgram& program : record.programs)
    if (dvbpsi_pat_program_add(pat.get(), static_cast<std::uint16_t>(program.program_number),
                               static_cast<std::uint16_t>(program.pid)) == nullptr)
      return nullptr;
  return pat.release();
}

}  // namespace vantor::thrift::dvb_tables
