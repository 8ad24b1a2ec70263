#pragma once

#include "servicemux/export.h"

namespace vantor {

class RegistryOwner;

/// Says in the log when what is on air does not fit under the ceiling, once for each change: which table needs how
/// much, the sum, the ceiling, and by how much all periods are stretched. One thread at a time.
class SERVICEMUX_API FitReport {
 public:
  explicit FitReport(RegistryOwner* owner) : owner(owner) {}
  FitReport(const FitReport&) = delete;
  FitReport& operator=(const FitReport&) = delete;

  /// Looks whether there is anything to say. What has changed since the last call may still be changing, and waits
  /// for the next one.
  void look();

 private:
  void tell(double stretch, double required) const;

  RegistryOwner* const owner;
  double seen = 1;
  double told = 1;
};

}  // namespace vantor
