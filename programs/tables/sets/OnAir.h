#pragma once

#include <map>

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

/// Keeps a table set on air: puts it there, and a table again whenever the time makes it another one, as the end of
/// summer time does to the offsets of a time zone. One thread at a time.
class OnAir {
 public:
  /// The set has its PIDs and sizes settled; of it nothing is kept but what changes with the time. The multiplex
  /// must outlive the object. Throws InputError when the library refuses a table.
  OnAir(TableSet set, serviceMux& mux, UtcTime now);

  /// To be called once a second or so. The time may jump both ways. Never touches tables that stay as they are.
  void refresh(UtcTime now);

 private:
  serviceMux& mux;
  TableSet changing;                         // with the time
  std::map<const TableKind*, UtcTime> sent;  // the time that each of these tables is of
};

}  // namespace vantor::tables
