#include "programs/tables/sets/OnAir.h"

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/allTableKinds.h"

namespace vantor::tables {

OnAir::OnAir(TableSet set, serviceMux& mux, UtcTime now) : mux(mux) {
  for (const TableKind* kind : allTableKinds()) {
    if (!kind->isIn(set)) continue;
    if (!kind->putOnAir(set, now, mux)) throw InputError(kind->path() + ": the table cannot be sent");
    TableSet done;  // the library has it as packets, which take a fraction of the records' memory
    kind->move(set, kind->changesWithTime() ? changing : done);
    if (kind->changesWithTime()) sent[kind] = now;
  }
}

void OnAir::refresh(UtcTime now) {
  for (auto& [kind, then] : sent)
    if (kind->isOutdated(changing, then, now)) {
      kind->putOnAir(changing, now, mux);
      then = now;
    }
}

}  // namespace vantor::tables
