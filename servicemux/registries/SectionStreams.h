#pragma once

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "interface/psi/tableTypes.h"
#include "servicemux/export.h"

namespace vantor {

class RegistryOwner;
class SubTable;
class TableCarrousel;
struct TableOnAir;

/// The tables of one output that came as whole sections, told apart by PID, table_id and table_id_extension. Those
/// of one PID share a carousel, which lives as long as one of them and is a guest on its PID. Takes no lock: one
/// caller at a time.
class SERVICEMUX_API SectionStreams {
 public:
  explicit SectionStreams(RegistryOwner* owner);
  SectionStreams(const SectionStreams&) = delete;
  SectionStreams& operator=(const SectionStreams&) = delete;
  ~SectionStreams();

  /// What a table's packets do not tell.
  struct Description {
    std::string name;           ///< empty for that of its kind
    unsigned int period = 0;    ///< ms
    unsigned int sections = 0;  ///< for messages
    unsigned int size = 0;      ///< bytes of the sections, likewise
  };

  /// Adds a table, or gives the one on air other sections, another period and another name. `packets`, which may be
  /// swapped with what was on air, are not empty, and the period is not below 25 ms.
  void newSections(unsigned short pid, const psi::TableKey& key, std::string& packets, Description description);

  /// False when there is none.
  bool clearSections(int pid, int table_id, int extension);
  void clearAll();

  /// Adds a line for each table on air. One that has to let others send is not.
  void listOnAir(std::vector<TableOnAir>& list) const;

 private:
  /// PID, table_id, table_id_extension.
  using Key = std::tuple<int, int, int>;

  struct Table {
    std::string name;
    SubTable* subtable = nullptr;  // the carousel's
    std::shared_ptr<TableCarrousel> carrousel;
  };

  std::shared_ptr<TableCarrousel> carrouselOn(unsigned short pid) const;

  RegistryOwner* const owner;
  std::map<Key, Table> tables;
};

}  // namespace vantor
