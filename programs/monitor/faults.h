#pragma once

#include <string>
#include <vector>

#include "programs/monitor/Report.h"

namespace vantor::monitor {

/// The subject of what came beside packets.
inline constexpr const char* kInput = "input";

/// Something that is not as it should be.
struct Fault {
  std::string subject;  ///< "PMT 101 on PID 0x0650", "PID 0x0012", kInput
  std::string what;     ///< "620.0 ms of 500 ms (TR 101 290) from one sending to the next"
  double severity;      ///< the more the worse, above 1
};

/// Every broken limit of a stream, the worst first. Errors of continuity, CRC_32 and sync are broken limits too: TR
/// 101 290 has them among those of first and second priority. A stream without packets is one as well.
[[nodiscard]] std::vector<Fault> faultsOf(const Report& report);

/// Those of one table or PID alone.
[[nodiscard]] std::vector<Fault> faultsOf(const TableReport& table);
[[nodiscard]] std::vector<Fault> faultsOf(const PidReport& pid);

/// "12.3 ms"
[[nodiscard]] std::string milliseconds(std::int64_t nanoseconds);

}  // namespace vantor::monitor
