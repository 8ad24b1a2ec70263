#pragma once

#include <boost/intrusive/list.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <memory>
#include <string>
#include <vector>

#include "interface/psi/tableIds.h"
#include "interface/records.h"
#include "servicemux/export.h"
#include "servicemux/guarded.h"
#include "servicemux/streams/SttSource.h"

namespace vantor {

class RegistryOwner;
class SubTable;
class TableCarrousel;
struct TableOnAir;

/// The table_ids of ATSC A/65 table 4.1.
enum PSIP_TID : unsigned char {
  PSIP_TID_MGT = kMgtTableId,
  PSIP_TID_TVCT = kTerrestrialVctTableId,
  PSIP_TID_CVCT = kCableVctTableId,
  PSIP_TID_RRT = kRrtTableId,
  PSIP_TID_EIT = kAtscEitTableId,
  PSIP_TID_ETT = kAtscEttTableId,
  PSIP_TID_STT = kSttTableId,
};

/// One ATSC table on air.
struct psip_data : boost::intrusive::list_base_hook<> {
  unsigned char tableId = 0;
  SubTable* subtable = nullptr;  // the carousel's
  std::shared_ptr<TableCarrousel> carrousel;
};

/// The ATSC PSIP tables of one output, one for each table_id, in a carousel on PID 0x1FFB that lives as long as
/// there is one of them; its successor continues its continuity counter.
///
/// MGT and VCT come as packets. The STT is made anew whenever it is sent, so that it carries the current time.
/// One caller at a time; the STT's packets are made on the producer thread meanwhile.
class SERVICEMUX_API PSIPStreams final : public SttSource {
 public:
  /// Throws boost::thread_resource_error when the mutex cannot be made.
  explicit PSIPStreams(RegistryOwner* owner);
  ~PSIPStreams();

  /// The insertion period in ms of a table with this table_id.
  [[nodiscard]] unsigned int getInsPeriod(PSIP_TID tid) const;

  /// The table's record, null when there is none.
  [[nodiscard]] psip_data* findPSIPTable(unsigned char tid);

  /// Adds or replaces a table; `packets` may be swapped with what was on air. False, with nothing changed, when the
  /// carousel refuses it.
  bool newPSIPTable(unsigned char tid, std::string& packets, unsigned char sections);
  /// Puts the STT on air, or gives the one on air another offset. False when the carousel refuses it; the offset is
  /// taken over in any case.
  bool newPSIPTable(unsigned char tid, const vantor::thrift::dvb_tables::LocalTimeOffset& lto);

  void clearPSIPTable(unsigned char tid);
  void clearAllPSIPTables();

  // The offset that the STT announces. Any thread.
  [[nodiscard]] vantor::thrift::dvb_tables::LocalTimeOffset getLocalTimeOffsetInfo();
  void setLocalTimeOffsetInfo(const vantor::thrift::dvb_tables::LocalTimeOffset& lto);

  /// Writes a packet with an STT of this second; leaves `packet` alone when libdvbpsi runs out of memory.
  void fillSTTData(unsigned char* packet) override;

  [[nodiscard]] boost::chrono::nanoseconds elapsed() const override;

  /// Adds a line for each table on air.
  void listOnAir(std::vector<TableOnAir>& tables);

  /// Takes a record's subtable off air and deletes the record, which is in no list any more.
  struct delete_disposer {
    void operator()(psip_data* psip) const;
  };

 private:
  using List = boost::intrusive::list<psip_data, boost::intrusive::constant_time_size<true>>;

  /// Boost does not annotate this one.
  class SERVICEMUX_MUTEX Lock : public boost::recursive_mutex {};

  std::string makeSTT();
  std::shared_ptr<TableCarrousel> commonCarrousel();
  template <typename Replace, typename Add>
  bool newTable(unsigned char tid, Replace replace, Add add);
  void remove(psip_data& psip);

  RegistryOwner* const owner;
  List list;  // in the order of their adding
  unsigned char lastCC;

  Lock lock;
  vantor::thrift::dvb_tables::LocalTimeOffset localTimeOffset SERVICEMUX_GUARDED_BY(lock);
};

}  // namespace vantor
