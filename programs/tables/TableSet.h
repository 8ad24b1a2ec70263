#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "interface/records.h"
#include "programs/tables/LocalTime.h"
#include "programs/tables/conditionalAccess.h"
#include "programs/tables/timeTables.h"

namespace vantor::tables {

/// A PMT and where it is sent.
struct ProgramMap {
  std::optional<std::int32_t> pid;  ///< else the one that the PAT gives the program
  thrift::dvb_tables::PMT pmt;

  friend bool operator==(const ProgramMap& a, const ProgramMap& b) { return a.pid == b.pid && a.pmt == b.pmt; }
};

/// The tables of one output, as they stand in a JSON table set or a capture. What is absent is not touched.
struct TableSet {
  std::optional<thrift::dvb_tables::PAT> pat;
  std::optional<thrift::dvb_tables::CAT> cat;
  std::optional<thrift::dvb_tables::NIT> nit;
  std::optional<thrift::dvb_tables::SDT> sdtActual;

  // Each in the order of its identifiers and without two of the same.
  std::vector<ProgramMap> pmts;
  std::vector<thrift::dvb_tables::SDT> sdtOthers;
  std::vector<thrift::dvb_tables::EIT> eitPf;
  std::vector<thrift::dvb_tables::EIT> eitSchedule;  ///< one record for each table_id of a service's schedule

  std::optional<TimeTables> time;

  // ATSC PSIP.
  std::optional<thrift::dvb_tables::MGT> mgt;
  std::optional<thrift::dvb_tables::VCT> terrestrialVct;
  std::optional<thrift::dvb_tables::VCT> cableVct;
  std::optional<LocalTime> stt;

  std::optional<ConditionalAccess> conditionalAccess;
};

}  // namespace vantor::tables
