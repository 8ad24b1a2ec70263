#pragma once

#include <boost/intrusive/list.hpp>
#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "servicemux/export.h"

namespace vantor {

class RegistryOwner;
class SubTable;
class TableCarrousel;
struct TableOnAir;

/// One EIT subtable on air.
struct eit_data : boost::intrusive::list_base_hook<>, boost::intrusive::set_base_hook<> {
  unsigned short tableId = 0;
  unsigned short serviceId = 0;
  SubTable* subtable = nullptr;  // the carousel's
  std::shared_ptr<TableCarrousel> carrousel;
  std::uint64_t order = 0;  // smaller for a subtable that was added earlier
};

/// The event information tables of one output, a subtable for each table_id and service, all in one carousel on
/// PID 0x0012 that the registry owns. Takes no lock: one caller at a time.
class SERVICEMUX_API EITStreams {
 public:
  explicit EITStreams(RegistryOwner* owner);
  EITStreams(const EITStreams&) = delete;
  EITStreams& operator=(const EITStreams&) = delete;
  ~EITStreams();

  /// The insertion period in ms of an EIT with this table_id.
  [[nodiscard]] unsigned short getEITInsertionPeriod(unsigned char table_id) const;

  /// The record of one subtable, null when there is none.
  [[nodiscard]] eit_data* findEIT(unsigned char table_id, unsigned short sid);
  /// The record that was added first of all a service has, null when it has none.
  [[nodiscard]] eit_data* findEIT(unsigned short sid);

  /// Adds or replaces a subtable; `packets` may be swapped with what was on air. False, with nothing changed, when
  /// there are none or the carousel refuses it.
  bool newEIT(unsigned char table_id, unsigned short sid, std::string& packets, unsigned char sections);

  /// Takes all subtables of a service off air, present/following and schedule alike.
  void clearEIT(unsigned short sid);
  void clearAllEITs();

  /// Gives what is on air the periods that the owner has for EITs now.
  void takePeriods();

  /// Adds a line for each subtable on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

  /// Takes a record's subtable off air and deletes the record, which is in no list any more.
  struct delete_disposer {
    void operator()(eit_data* eit) const;
  };

 private:
  using List = boost::intrusive::list<eit_data, boost::intrusive::constant_time_size<true>>;
  /// By service first, so that both look-ups are quick even with thousands of subtables.
  struct ByService {
    bool operator()(const eit_data& a, const eit_data& b) const {
      return a.serviceId != b.serviceId ? a.serviceId < b.serviceId : a.tableId < b.tableId;
    }
  };
  using Index = boost::intrusive::set<eit_data, boost::intrusive::compare<ByService>,
                                      boost::intrusive::constant_time_size<false>>;

  void remove(eit_data& eit);

  RegistryOwner* const owner;
  std::shared_ptr<TableCarrousel> carrousel;
  List list;    // in the order of their adding
  Index index;  // the same records
  std::uint64_t nextOrder = 0;
};

}  // namespace vantor
