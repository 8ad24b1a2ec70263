#include "programs/tables/sets/OnAir.h"

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/allTableKinds.h"

namespace vantor::tables {

OnAir::OnAir(const TableSet& set, serviceMux& mux, UtcTime now) : set(set), mux(mux) {
  for (const TableKind* kind : allTableKinds()) {
    if (!kind->isIn(set)) continue;
    if (!kind->putOnAir(set, now, mux)) throw InputError(kind->path() + ": the table cannot be sent");
    sent[kind] = now;
  }
}

void OnAir::refresh(UtcTime now) {
  for (auto& [kind, then] : sent)
    if (kind->isOutdated(set, then, now)) {
      kind->putOnAir(set, now, mux);
      then = now;
    }
}

}  // namespace vantor::tables
