#pragma once

#include <map>

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

/// Keeps a table set on air: puts it there, and a table again whenever the time makes it another one, as the end of
/// summer time does to the offsets of a time zone. One thread at a time.
class OnAir {
 public:
  /// The set has its PIDs and sizes settled. Set and multiplex must outlive the object. Throws InputError when the
  /// library refuses a table.
  OnAir(const TableSet& set, serviceMux& mux, UtcTime now);

  /// To be called once a second or so. The time may jump both ways. Never touches tables that stay as they are.
  void refresh(UtcTime now);

 private:
  const TableSet& set;
  serviceMux& mux;
  std::map<const TableKind*, UtcTime> sent;  // the time that each of the set's tables is of
};

}  // namespace vantor::tables
