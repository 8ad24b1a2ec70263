#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

/// Keeps a table set on air, and knows what is there: puts in its place what is another one in a new set, and a
/// table again whenever the time makes it another one, as the end of summer time does to the offsets of a time
/// zone. Counts the versions of tables that leave them to it. One thread at a time.
class OnAir {
 public:
  /// What came of a new set.
  struct Replacement {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t removed = 0;
    std::vector<std::string> warnings;  ///< one line each
    std::string refused;                ///< the first table that the library refused for good, empty for none
  };

  /// As replace() with nothing on air. The multiplex must outlive the object, and nobody else puts tables on it.
  /// Throws InputError when the library refuses a table.
  OnAir(TableSet set, serviceMux& mux, UtcTime now);

  /// Puts the set on air in the place of what is there: tables that differ are handed in, those that are gone are
  /// taken off, and all others are not touched. The set has its PIDs and sizes settled; of it nothing is kept but
  /// what changes with the time. A table that was read is not refused for its content; where the library refuses
  /// one all the same, what was on air in its place stays.
  Replacement replace(TableSet next, UtcTime now);

  /// To be called once a second or so. The time may jump both ways. Never touches tables that stay as they are.
  void refresh(UtcTime now);

 private:
  /// A table that is on air, or was.
  struct State {
    Digest content;
    std::optional<std::int32_t> version;  // none for a table that has no versions
    std::int32_t place = 0;
    bool isOnAir = false;
  };
  /// In the order of the identities, in one piece: many small ones would hold the memory between them, of which
  /// reading a set needs a lot.
  using States = std::vector<std::pair<TableInSet::Identity, State>>;

  /// What is to be done with the tables of one kind.
  struct Plan {
    const TableKind* kind;
    std::vector<TableInSet> tables;
  };

  std::vector<Plan> planFor(TableSet& next, std::vector<std::string>& warnings);
  std::vector<TableInSet> number(const TableKind& kind, TableSet& next, std::vector<std::string>& warnings);
  void takeOff(const Plan& plan, Replacement& done);
  void put(const Plan& plan, const TableSet& next, UtcTime now, Replacement& done);
  static const State* find(const TableInSet::Identity& identity, const States& states);
  static bool isAsOnAir(const TableInSet& table, const State& state);

  serviceMux& mux;
  std::map<const TableKind*, States> known;
  TableSet changing;                         // with the time
  std::map<const TableKind*, UtcTime> sent;  // the time that each of these tables is of
};

}  // namespace vantor::tables
