#include "interface/checks/programMapPid.h"

#include "interface/checks/Field.h"
#include "interface/psi/pids.h"

namespace vantor {

namespace {

constexpr std::int32_t kLastProgramPid = kNullPid - 1;

bool canBeSent(const Field& arguments, const std::int32_t& pid) {
  const Field field = arguments["pid"];
  if (pid < kFirstProgramPid) return field.refuse(std::to_string(pid), "is below " + hex(kFirstProgramPid));
  if (pid > kLastProgramPid) return field.refuse(std::to_string(pid), "is above " + hex(kLastProgramPid));
  return true;
}

}  // namespace

std::optional<Refusal> checkProgramMapPid(std::int32_t pid) { return refusalOf(pid, &canBeSent); }

}  // namespace vantor
