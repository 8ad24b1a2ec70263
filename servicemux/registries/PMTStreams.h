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

/// One program's PMT on air.
struct pmt_data : boost::intrusive::list_base_hook<> {
  unsigned int size = 0;  // bytes, for messages
  unsigned char version = 0;
  unsigned short programNumber = 0;
  unsigned short pid = 0;
  SubTable* subtable = nullptr;  // the carousel's
  std::shared_ptr<TableCarrousel> carrousel;
};

/// The program map tables of one output, one for each program. Programs whose PMTs share a PID share a carousel,
/// which lives as long as one of them. Takes no lock: one caller at a time.
class SERVICEMUX_API PMTStreams {
 public:
  explicit PMTStreams(RegistryOwner* owner);
  PMTStreams(const PMTStreams&) = delete;
  PMTStreams& operator=(const PMTStreams&) = delete;
  ~PMTStreams();

  /// The program's record, null when there is none.
  [[nodiscard]] pmt_data* findPMT(unsigned short program);

  /// Adds or updates a program's PMT; `packets` may be swapped with what was on air. False, with nothing changed,
  /// when the program's PMT is on another PID (clear it first) or the carousel refuses it.
  bool newPMT(unsigned short program, unsigned short pid, std::string& packets, unsigned char version,
              unsigned int size);
  void clearPMT(unsigned short program);
  void clearAllPMTs();

  /// Gives what is on air the period that the owner has for PMTs now.
  void takePeriod();

  /// Adds a line for each PMT on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

  /// Takes a record's subtable off air and deletes the record, which is in no list any more.
  struct delete_disposer {
    void operator()(pmt_data* pmt) const;
  };

 private:
  using List = boost::intrusive::list<pmt_data, boost::intrusive::constant_time_size<true>>;

  std::shared_ptr<TableCarrousel> carrouselOn(unsigned short pid);

  RegistryOwner* const owner;
  List list;  // in the order of their adding
};

}  // namespace vantor
