#pragma once

#include <optional>
#include <vector>

#include "interface/records.h"

namespace vantor::tables {

/// What a multiplex carries of conditional access: the configuration and the messages that it begins with.
struct ConditionalAccess {
  thrift::general::ScramblerConfig config;
  // scrambler_type 0
  std::optional<thrift::general::simulCryptData> ecm;
  std::vector<thrift::general::simulCryptData> emms;
  // scrambler_type 3
  std::vector<thrift::simulcrypt::ECMItem> liveEcms;
  std::vector<thrift::simulcrypt::EMMItem> liveEmms;
};

}  // namespace vantor::tables
