#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "interface/records.h"
#include "programs/tables/values/LocalTime.h"

namespace vantor::tables {

/// A PMT and where it is sent.
struct ProgramMap {
  std::optional<std::int32_t> pid;  ///< else the one that the PAT gives the program
  thrift::dvb_tables::PMT pmt;

  friend bool operator==(const ProgramMap& a, const ProgramMap& b) { return a.pid == b.pid && a.pmt == b.pmt; }
};

inline thrift::dvb_tables::PMT& recordOf(ProgramMap& map) { return map.pmt; }
inline const thrift::dvb_tables::PMT& recordOf(const ProgramMap& map) { return map.pmt; }

/// TDT and TOT, which are sent with the current time. Without local times there is no TOT.
struct TimeTables {
  std::vector<LocalTime> localTimes;

  friend bool operator==(const TimeTables& a, const TimeTables& b) { return a.localTimes == b.localTimes; }
};

/// What a multiplex carries of conditional access: the configuration and the messages that it begins with.
struct ConditionalAccess {
  thrift::general::ScramblerConfig config;
  // scrambler_type 0
  std::optional<thrift::general::simulCryptData> ecm;
  std::vector<thrift::general::simulCryptData> emms;
  // scrambler_type 3
  std::vector<thrift::simulcrypt::ECMItem> liveEcms;
  std::vector<thrift::simulcrypt::EMMItem> liveEmms;
};

/// The tables of one output, as they stand in a JSON table set or a capture. What is absent is not touched.
struct TableSet {
  std::optional<thrift::dvb_tables::PAT> pat;
  std::optional<thrift::dvb_tables::CAT> cat;
  std::optional<thrift::dvb_tables::NIT> nit;
  std::optional<thrift::dvb_tables::SDT> sdtActual;

  // Each in the order of its identifiers and without two of the same.
  std::vector<ProgramMap> pmts;
  std::vector<thrift::dvb_tables::NIT> nitOthers;
  std::vector<thrift::dvb_tables::SDT> sdtOthers;
  std::vector<thrift::dvb_tables::NIT> bats;  ///< laid out alike; network_id is the bouquet_id
  std::vector<thrift::dvb_tables::EIT> eitPf;
  std::vector<thrift::dvb_tables::EIT> eitSchedule;  ///< one record for each table_id of a service's schedule

  std::optional<TimeTables> time;

  // ATSC PSIP.
  std::optional<thrift::dvb_tables::MGT> mgt;
  std::optional<thrift::dvb_tables::VCT> terrestrialVct;
  std::optional<thrift::dvb_tables::VCT> cableVct;
  std::optional<LocalTime> stt;

  std::optional<ConditionalAccess> conditionalAccess;

  /// Any other tables, in the order of PID, table_id and table_id_extension.
  std::vector<thrift::dvb_tables::Sections> sections;

  /// ms, by the names of periodFields(); the library has the others.
  std::map<std::string, unsigned int> periods;
};

}  // namespace vantor::tables
