#pragma once

#include <cstdint>
#include <string>

#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"

/// One entry for each kind of table: what the standards and this system say of it. Whoever needs a table's PID,
/// name or period reads it here.

namespace vantor::psi {

/// What the table_id_extension of a kind of table is.
enum class Extension {
  kNone,  ///< the table has no long header, or a fixed value there
  kTransportStreamId,
  kProgramNumber,
  kNetworkId,
  kBouquetId,
  kServiceId,
  kOther,  ///< another identifier
};

/// One kind of table.
struct TableType {
  /// The PID of tables that are found wherever a PMT, CAT or MGT says.
  static constexpr int kAnyPid = -1;

  const char* name;           ///< for people
  std::uint8_t firstTableId;  ///< the table_ids that it has
  std::uint8_t lastTableId;
  int pid;
  Extension extension;
  bool isMany;          ///< whether an output can have several, told apart by their extension
  unsigned int period;  ///< ms from one sending to the next where nothing else is set; 0 for what is not repeated

  [[nodiscard]] constexpr bool has(std::uint8_t table_id) const {
    return firstTableId <= table_id && table_id <= lastTableId;
  }
};

// ISO/IEC 13818-1 table 2-31.
inline constexpr TableType kPat{"PAT", kPatTableId, kPatTableId, kPatPid, Extension::kTransportStreamId,
                                false, 200};
inline constexpr TableType kCat{"CAT", kCatTableId, kCatTableId, kCatPid, Extension::kNone, false, 200};
inline constexpr TableType kPmt{"PMT", kPmtTableId, kPmtTableId, TableType::kAnyPid, Extension::kProgramNumber,
                                true,  200};
inline constexpr TableType kTsdt{"TSDT", kTsdtTableId, kTsdtTableId, kTsdtPid, Extension::kNone, false, 10000};

// EN 300 468 table 2.
inline constexpr TableType kNitActual{
    "NIT actual", kNitActualTableId, kNitActualTableId, kNitPid, Extension::kNetworkId, false, 500};
inline constexpr TableType kNitOther{
    "NIT other", kNitOtherTableId, kNitOtherTableId, kNitPid, Extension::kNetworkId, true, 10000};
inline constexpr TableType kSdtActual{
    "SDT actual", kSdtActualTableId, kSdtActualTableId, kSdtPid, Extension::kTransportStreamId, false, 500};
inline constexpr TableType kSdtOther{
    "SDT other", kSdtOtherTableId, kSdtOtherTableId, kSdtPid, Extension::kTransportStreamId, true, 10000};
inline constexpr TableType kBat{"BAT", kBatTableId, kBatTableId, kSdtPid, Extension::kBouquetId, true, 10000};
inline constexpr TableType kEitPfActual{
    "EIT p/f actual", kEitPfActualTableId, kEitPfActualTableId, kEitPid, Extension::kServiceId, true, 2000};
inline constexpr TableType kEitPfOther{
    "EIT p/f other", kEitPfOtherTableId, kEitPfOtherTableId, kEitPid, Extension::kServiceId, true, 10000};
inline constexpr TableType kEitScheduleActual{"EIT schedule actual",
                                              kEitScheduleActualFirst,
                                              kEitScheduleActualLast,
                                              kEitPid,
                                              Extension::kServiceId,
                                              true,
                                              30000};
inline constexpr TableType kEitScheduleOther{"EIT schedule other",
                                             kEitScheduleOtherFirst,
                                             kEitScheduleOtherLast,
                                             kEitPid,
                                             Extension::kServiceId,
                                             true,
                                             60000};
inline constexpr TableType kTdt{"TDT", kTdtTableId, kTdtTableId, kTimePid, Extension::kNone, false, 1000};
inline constexpr TableType kRst{"RST", kRstTableId, kRstTableId, kRstPid, Extension::kNone, false, 0};
inline constexpr TableType kStuffingTable{
    "stuffing", kStuffingTableId, kStuffingTableId, TableType::kAnyPid, Extension::kNone, false, 0};
inline constexpr TableType kTot{"TOT", kTotTableId, kTotTableId, kTimePid, Extension::kNone, false, 1000};
inline constexpr TableType kAit{"AIT", kAitTableId, kAitTableId, TableType::kAnyPid, Extension::kOther,
                                true,  10000};
inline constexpr TableType kDit{"DIT", kDitTableId, kDitTableId, kDitPid, Extension::kNone, false, 0};
inline constexpr TableType kSit{"SIT", kSitTableId, kSitTableId, kSitPid, Extension::kNone, false, 0};

// ISO/IEC 13818-6 clause 9.2.
inline constexpr TableType kDsmCc{"DSM-CC",          kDsmCcFirst, kDsmCcLast, TableType::kAnyPid,
                                  Extension::kOther, true,        0};

// Messages of conditional access.
inline constexpr TableType kEcm{"ECM", kEvenEcmTableId, kOddEcmTableId, TableType::kAnyPid, Extension::kNone, false,
                                100};
inline constexpr TableType kEmm{"EMM", kEmmFirst, kEmmLast, TableType::kAnyPid, Extension::kNone, false, 0};

// ATSC A/65 table 4.1.
inline constexpr TableType kMgt{"ATSC MGT", kMgtTableId, kMgtTableId, kPsipPid, Extension::kNone, false, 150};
inline constexpr TableType kTerrestrialVct{"ATSC VCT terrestrial",
                                           kTerrestrialVctTableId,
                                           kTerrestrialVctTableId,
                                           kPsipPid,
                                           Extension::kTransportStreamId,
                                           false,
                                           400};
inline constexpr TableType kCableVct{
    "ATSC VCT cable", kCableVctTableId, kCableVctTableId, kPsipPid, Extension::kTransportStreamId, false, 400};
inline constexpr TableType kRrt{"ATSC RRT", kRrtTableId, kRrtTableId, kPsipPid, Extension::kOther, true, 60000};
inline constexpr TableType kAtscEit{
    "ATSC EIT", kAtscEitTableId, kAtscEitTableId, TableType::kAnyPid, Extension::kOther, true, 0};
inline constexpr TableType kAtscEtt{
    "ATSC ETT", kAtscEttTableId, kAtscEttTableId, TableType::kAnyPid, Extension::kOther, true, 0};
inline constexpr TableType kStt{"ATSC STT", kSttTableId, kSttTableId, kPsipPid, Extension::kNone, false, 1000};

// SCTE 35 clause 9.2.
inline constexpr TableType kSpliceInfo{
    "splice info", kSpliceInfoTableId, kSpliceInfoTableId, TableType::kAnyPid, Extension::kNone, false, 0};

/// The kind of table that has this table_id, null when it is none of the above.
[[nodiscard]] const TableType* tableTypeOf(std::uint8_t table_id);

/// The kind's name, "table id 0x90" for a table_id that has none.
[[nodiscard]] std::string tableTypeName(std::uint8_t table_id);

/// What tells one table of an output from all others.
struct TableKey {
  std::uint8_t table_id = 0;
  std::uint16_t extension = 0;            ///< what it is, its kind says
  std::uint16_t transport_stream_id = 0;  ///< of SDTs and EITs, 0 in all others
  std::uint16_t original_network_id = 0;  ///< likewise
};

/// The name of one table for people: "PAT", "PMT 101", "SDT other 2/1", "EIT schedule actual 51 258".
[[nodiscard]] std::string tableName(const TableKey& key);

/// The same with its stream, for tables that nothing else tells apart: "EIT p/f other 258 of 2/1".
[[nodiscard]] std::string tableNameOfStream(const TableKey& key);

}  // namespace vantor::psi
