#pragma once

#include <optional>

#include "interface/checks/Refusal.h"
#include "interface/records.h"

/// Why the records of conditional access should not be handed on, if they should not. The library takes them as
/// they are, PIDs by their low 16 bits, so these checks are for whoever lets records in.

namespace vantor::thrift::general {

/// Of a configuration only what its scrambler_type has a meaning for is looked at, and nothing unless it is
/// enabled.
[[nodiscard]] std::optional<Refusal> check(const ScramblerConfig& config);

/// A message without bytes passes: what it means is the stream's business.
[[nodiscard]] std::optional<Refusal> check(const simulCryptData& message);

}  // namespace vantor::thrift::general

namespace vantor::thrift::simulcrypt {

/// Without bytes it is an ECM stop, of which only the PID matters. The period is looked at only where it is read.
[[nodiscard]] std::optional<Refusal> check(const ECMItem& ecm);

[[nodiscard]] std::optional<Refusal> check(const EMMItem& emm);

}  // namespace vantor::thrift::simulcrypt
