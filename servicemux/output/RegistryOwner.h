#pragma once

#include <memory>
#include <string>

#include "servicemux/muxer/TimingProfile.h"
#include "servicemux/output/InsertionPeriods.h"

namespace vantor {

class TableCarrousel;
class VBRmuxer;

/// What a registry, or another part of an output, sees of the output it belongs to. All of it lives longer than the
/// part.
class RegistryOwner {
 public:
  RegistryOwner() = default;
  RegistryOwner(const RegistryOwner&) = delete;
  RegistryOwner& operator=(const RegistryOwner&) = delete;

  /// Opens the log messages.
  [[nodiscard]] virtual const std::string& outputName() const = 0;
  [[nodiscard]] virtual InsertionPeriods& insertionPeriods() = 0;
  [[nodiscard]] virtual TimingProfile timingProfile() const = 0;
  [[nodiscard]] virtual const std::shared_ptr<VBRmuxer>& outputMuxer() const = 0;
  /// The one carousel of PID 0x0011.
  [[nodiscard]] virtual const std::shared_ptr<TableCarrousel>& outputSdtCarrousel() const = 0;

 protected:
  ~RegistryOwner() = default;  // nobody owns an output through this
};

}  // namespace vantor
