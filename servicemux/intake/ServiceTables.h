#pragma once

#include <memory>
#include <vector>

#include "interface/records.h"

namespace vantor {

class DumpFiles;
class EITStreams;
class PMTStreams;
class RegistryOwner;
class SDTStreams;
struct InsertionPeriods;
struct TableOnAir;

/// The tables of services, of which an output has any number: PMT, SDT and EIT. Makes their sections and packets
/// and hands them to the registries. The operations are those of `serviceMux`. One caller at a time.
class ServiceTables {
 public:
  /// Throws boost::thread_resource_error when a mutex cannot be made.
  ServiceTables(RegistryOwner* owner, const DumpFiles& dumps);
  ServiceTables(const ServiceTables&) = delete;
  ServiceTables& operator=(const ServiceTables&) = delete;
  ~ServiceTables();

  int newPMT(const vantor::thrift::dvb_tables::PMT& record, short pid);
  void clearPMT(short program, short pid);
  void clearAllPMTs();

  int newSDTActual(const vantor::thrift::dvb_tables::SDT& record);
  int newSDTOthers(const vantor::thrift::dvb_tables::SDT& record);
  void clearSDTActual();
  void clearSDTOthers(int transport_stream_id, int original_network_id);

  int newEITpf(const EITRecords& records);
  int newEITsch(const EITRecords& records);
  void clearEITpf(short sid);
  void clearEITsch(short sid);
  void clearAllEITs();
  void clearEIT(unsigned char table_id, int service_id, int transport_stream_id, int original_network_id);

  /// Takes over the periods of PMTs, SDTs and EITs.
  void setPeriods(const InsertionPeriods& wanted);

  /// Takes all of them off air: PMTs, then EITs, then SDTs.
  void clearAll();

  /// Ends the SDT registry, whose carousel is the owner's. From then on SDTs are refused.
  void dropSDTs();

  /// Adds an entry for each table on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

 private:
  int newSDT(const vantor::thrift::dvb_tables::SDT& record, unsigned char tableId);
  template <typename Announce>
  int newEITs(const EITRecords& records, Announce announce);

  RegistryOwner* const owner;
  const DumpFiles& dumps;
  const std::unique_ptr<PMTStreams> pmts;
  std::unique_ptr<SDTStreams> sdts;
  const std::unique_ptr<EITStreams> eits;
};

}  // namespace vantor
