#pragma once

namespace vantor {

/// How an output decides when each section leaves.
enum class TimingProfile {
  Classic,    ///< every period holds on average; a packet waits for others to share its datagram
  Standards,  ///< every period is a maximum and every limit of the standards is held
};

}  // namespace vantor
