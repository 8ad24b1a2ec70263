#pragma once

#include <memory>
#include <vector>

#include "interface/records.h"

namespace vantor {

class PSIPStreams;
class RegistryOwner;
struct InsertionPeriods;
struct TableOnAir;

/// The ATSC PSIP tables of one output: MGT, VCT and STT. The operations are those of `serviceMux`. One caller at a
/// time.
class AtscTables {
 public:
  /// Throws boost::thread_resource_error when a mutex cannot be made.
  explicit AtscTables(RegistryOwner* owner);
  AtscTables(const AtscTables&) = delete;
  AtscTables& operator=(const AtscTables&) = delete;
  ~AtscTables();

  int newMGT(const vantor::thrift::dvb_tables::MGT& record);
  int newVCT(const vantor::thrift::dvb_tables::VCT& record);
  int newSTT(const vantor::thrift::dvb_tables::LocalTimeOffset& record);
  void clearMGT();
  void clearVCT();
  void clearVCT(unsigned char table_id);
  void clearSTT();

  /// Takes over the periods of PSIP tables.
  void setPeriods(const InsertionPeriods& wanted);

  /// Takes all of them off air.
  void clearAll();

  /// Adds an entry for each table on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

 private:
  RegistryOwner* const owner;
  const std::unique_ptr<PSIPStreams> psip;
};

}  // namespace vantor
