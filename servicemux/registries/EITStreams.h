#pragma once

#include <boost/intrusive/list.hpp>
#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
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
  // The stream that the service is in.
  unsigned short transportStreamId = 0;
  unsigned short originalNetworkId = 0;
};

/// The event information tables of one output, all in one carousel on PID 0x0012 that the registry owns. Takes no
/// lock: one caller at a time.
///
/// What tells one subtable from another depends on the owner's timing profile. In Standards it is table_id,
/// service_id, transport_stream_id and original_network_id, EN 300 468 clause 5.2.4. In Classic it is table_id and
/// service_id: of namesakes in several streams the last one takes the place of the others. Subtables that are on
/// air when the profile changes stay there; in Classic an update then goes to the one of its stream, and where
/// there is none to the one that was added first.
class SERVICEMUX_API EITStreams {
 public:
  explicit EITStreams(RegistryOwner* owner);
  EITStreams(const EITStreams&) = delete;
  EITStreams& operator=(const EITStreams&) = delete;
  ~EITStreams();

  /// The insertion period in ms of an EIT with this table_id.
  [[nodiscard]] unsigned short getEITInsertionPeriod(unsigned char table_id) const;

  /// The record of one subtable, null when there is none.
  [[nodiscard]] eit_data* findEIT(unsigned char table_id, unsigned short sid, unsigned short tsid,
                                  unsigned short onid);
  /// The one that was added first of whatever stream, null when there is none.
  [[nodiscard]] eit_data* findEIT(unsigned char table_id, unsigned short sid);
  /// The record that was added first of all a service has, null when it has none.
  [[nodiscard]] eit_data* findEIT(unsigned short sid);

  /// Adds or replaces a subtable; `packets` may be swapped with what was on air. False, with nothing changed, when
  /// there are none or the carousel refuses it.
  bool newEIT(unsigned char table_id, unsigned short sid, std::string& packets, unsigned char sections,
              unsigned short tsid = 0, unsigned short onid = 0);

  /// Takes all subtables of a service off air, present/following and schedule alike, of whatever stream.
  void clearEIT(unsigned short sid);
  /// Takes one subtable off air, that of this stream.
  void clearEIT(unsigned char table_id, unsigned short sid, unsigned short tsid, unsigned short onid);
  void clearAllEITs();

  /// Gives what is on air the periods that the owner has for EITs now.
  void takePeriods();

  /// Adds a line for each subtable on air; only namesakes have their stream in the name.
  void listOnAir(std::vector<TableOnAir>& tables) const;

  /// Takes a record's subtable off air and deletes the record, which is in no list any more.
  struct delete_disposer {
    void operator()(eit_data* eit) const;
  };

 private:
  using List = boost::intrusive::list<eit_data, boost::intrusive::constant_time_size<true>>;
  /// service_id, table_id, transport_stream_id, original_network_id.
  using Key = std::tuple<unsigned short, unsigned short, unsigned short, unsigned short>;
  static Key keyOf(const eit_data& eit) {
    return {eit.serviceId, eit.tableId, eit.transportStreamId, eit.originalNetworkId};
  }
  /// By service first, so that all look-ups are quick even with thousands of subtables.
  struct ByService {
    using type = Key;
    Key operator()(const eit_data& eit) const { return keyOf(eit); }
  };
  using Index = boost::intrusive::set<eit_data, boost::intrusive::key_of_value<ByService>,
                                      boost::intrusive::constant_time_size<false>>;

  eit_data* firstAdded(const Key& lowest, const Key& highest);
  eit_data* placeOf(const Key& key);
  void putUnder(const Key& key, eit_data& eit);
  [[nodiscard]] bool hasNamesake(const eit_data& eit) const;
  void remove(eit_data& eit);

  RegistryOwner* const owner;
  std::shared_ptr<TableCarrousel> carrousel;
  List list;    // in the order of their adding
  Index index;  // the same records
  std::uint64_t nextOrder = 0;
};

}  // namespace vantor
