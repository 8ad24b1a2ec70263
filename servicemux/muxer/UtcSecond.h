#pragma once

#include <boost/chrono.hpp>

#include "servicemux/export.h"

namespace vantor {

/// The UTC clock of a table that tells the time.
class UtcSecond {
 public:
  UtcSecond() = default;
  UtcSecond(const UtcSecond&) = delete;
  UtcSecond& operator=(const UtcSecond&) = delete;

  /// How much of the current UTC second is over. Any thread.
  [[nodiscard]] virtual boost::chrono::nanoseconds elapsed() const = 0;

 protected:
  ~UtcSecond() = default;  // nobody owns it through this
};

/// Within so much of a second a table that tells it leaves.
constexpr boost::chrono::nanoseconds kBeginOfSecond = boost::chrono::milliseconds(90);

/// How long until a table that tells the time may leave for the first time, so much of a UTC second being over.
[[nodiscard]] SERVICEMUX_API boost::chrono::nanoseconds untilSecond(boost::chrono::nanoseconds elapsed);

/// How long after a sending, so much of a UTC second being over then, it is to be sent again: less than a period
/// later and at the beginning of a second. With a period of a second each sending is a little earlier in its second
/// than the one before; where that would leave the second it is repeated late in its beginning instead. With
/// periods below a second only the period counts.
[[nodiscard]] SERVICEMUX_API boost::chrono::nanoseconds untilNextSecond(boost::chrono::nanoseconds elapsed,
                                                                        boost::chrono::nanoseconds period);

}  // namespace vantor
