#pragma once

#include <boost/intrusive/list.hpp>
#include <memory>
#include <string>
#include <vector>

#include "servicemux/export.h"

namespace vantor {

class RegistryOwner;
class SubTable;
class TableCarrousel;
struct TableOnAir;

/// One SDT on air.
struct sdt_data : boost::intrusive::list_base_hook<> {
  // As they were when the SDT was added, for messages. An update leaves them; kept for compatibility.
  unsigned int size = 0;  // bytes
  unsigned char version = 0;
  unsigned char tableId = 0;
  unsigned short transportStreamId = 0;
  unsigned short originalNetworkId = 0;
  SubTable* subtable = nullptr;  // the carousel's
  std::shared_ptr<TableCarrousel> carrousel;
};

/// The service description tables of one output: one SDT actual, and an SDT other for each other transport stream,
/// all in the output's carousel on PID 0x0011. Takes no lock: one caller at a time.
class SERVICEMUX_API SDTStreams {
 public:
  /// Stands for any transport_stream_id or original_network_id.
  static constexpr int kAny = -1;

  explicit SDTStreams(RegistryOwner* owner);
  SDTStreams(const SDTStreams&) = delete;
  SDTStreams& operator=(const SDTStreams&) = delete;
  ~SDTStreams();

  /// The insertion period in ms of an SDT with this table_id.
  [[nodiscard]] unsigned short getSDTInsertionPeriod(unsigned char table_id) const;

  /// The first record that matches, null when there is none. The SDT actual is found by its table_id alone.
  [[nodiscard]] sdt_data* findSDT(unsigned char table_id, int tsid, int onid);

  /// Adds or updates an SDT; `packets` may be swapped with what was on air. False, with nothing changed, when the
  /// carousel refuses it.
  bool newSDT(unsigned char table_id, unsigned short tsid, unsigned short onid, std::string& packets,
              unsigned char version, unsigned char sections, unsigned int size);

  /// Takes every matching SDT off air.
  void clearSDT(unsigned char table_id, int tsid, int onid);
  void clearAllSDTs();

  /// Gives what is on air the periods that the owner has for SDTs now.
  void takePeriods();

  /// Adds a line for each SDT on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

  /// Takes a record's subtable off air and deletes the record, which is in no list any more.
  struct delete_disposer {
    void operator()(sdt_data* sdt) const;
  };

 private:
  using List = boost::intrusive::list<sdt_data, boost::intrusive::constant_time_size<true>>;

  RegistryOwner* const owner;
  List list;  // in the order of their adding
};

}  // namespace vantor
