#pragma once

#include <memory>
#include <vector>

#include "interface/records.h"

struct dvbpsi_psi_section_s;

namespace vantor {

class DumpFiles;
class RegistryOwner;
class SimpleTable;
struct InsertionPeriods;
struct TableOnAir;

/// The tables of which an output has one, each on a PID of its own: PAT, CAT and NIT actual; and the null packets.
/// The operations are those of `serviceMux`. One caller at a time.
class FixedTables {
 public:
  /// Throws boost::thread_resource_error when a stream's mutex cannot be made.
  FixedTables(RegistryOwner* owner, const DumpFiles& dumps);
  FixedTables(const FixedTables&) = delete;
  FixedTables& operator=(const FixedTables&) = delete;
  ~FixedTables();

  int newPAT(const vantor::thrift::dvb_tables::PAT& record);
  void clearPAT();
  int newCAT(const vantor::thrift::dvb_tables::CAT& record);
  void clearCAT();
  int newNIT(const vantor::thrift::dvb_tables::NIT& record);
  void clearNIT();
  int newNULLPkts(unsigned int period);
  int clearNULLPkts();

  /// Takes over the periods of PAT, CAT and NIT.
  void setPeriods(const InsertionPeriods& wanted);

  /// Takes PAT, CAT and NIT off air; null packets go on.
  void clearTables();

  /// Adds an entry for each table on air, and one for null packets.
  void listOnAir(std::vector<TableOnAir>& tables) const;

 private:
  unsigned int putOnAir(SimpleTable& stream, unsigned short pid, unsigned char version,
                        const dvbpsi_psi_section_s* sections);
  void clearTable(SimpleTable& stream, const char* table, const char* kind);

  RegistryOwner* const owner;
  const DumpFiles& dumps;

  // In the order in which they end.
  std::unique_ptr<SimpleTable> nullPackets;
  std::unique_ptr<SimpleTable> nit;
  std::unique_ptr<SimpleTable> cat;
  std::unique_ptr<SimpleTable> pat;
};

}  // namespace vantor
