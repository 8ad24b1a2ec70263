#pragma once

#include <memory>
#include <vector>

#include "interface/records.h"

namespace vantor {

class RegistryOwner;
class SectionStreams;
struct TableOnAir;

/// Tables of whatever kind that come as whole sections. The operations are those of `serviceMux`. One caller at a
/// time.
class SectionTables {
 public:
  explicit SectionTables(RegistryOwner* owner);
  SectionTables(const SectionTables&) = delete;
  SectionTables& operator=(const SectionTables&) = delete;
  ~SectionTables();

  int newSections(const vantor::thrift::dvb_tables::Sections& record);
  void clearSections(int pid, int table_id, int extension);

  /// Takes all of them off air.
  void clearAll();

  /// Adds an entry for each table on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

 private:
  [[nodiscard]] bool mayBeOn(unsigned short pid) const;

  RegistryOwner* const owner;
  const std::unique_ptr<SectionStreams> streams;
};

}  // namespace vantor
