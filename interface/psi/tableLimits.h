#pragma once

#include <cstdint>
#include <optional>

/// How often tables have to come, and how soon they may come again: what the standards ask for, written once.

namespace vantor::psi {

/// The longest time from the last byte of a section to the last byte of its next sending.
struct TableLimit {
  unsigned int maximum;  ///< ms
  const char* source;    ///< who asks for it
};

inline constexpr const char* kMeasurement = "TR 101 290";
inline constexpr const char* kGuidelines = "TS 101 211 clause 4.4";
inline constexpr const char* kAtsc = "ATSC A/65 clause 7";

inline constexpr TableLimit kPatLimit{500, kMeasurement};
inline constexpr TableLimit kPmtLimit{500, kMeasurement};

inline constexpr TableLimit kNitLimit{10000, kGuidelines};
inline constexpr TableLimit kBatLimit{10000, kGuidelines};
inline constexpr TableLimit kSdtActualLimit{2000, kGuidelines};
inline constexpr TableLimit kSdtOtherLimit{10000, kGuidelines};
inline constexpr TableLimit kEitPfActualLimit{2000, kGuidelines};
inline constexpr TableLimit kEitPfOtherLimit{10000, kGuidelines};
inline constexpr TableLimit kTimeLimit{30000, kGuidelines};  // TDT and TOT

// Schedules, by how far ahead they are: on cable and satellite the first days are counted, actual and other alike.
inline constexpr int kNearDays = 8;
inline constexpr TableLimit kNearScheduleLimit{10000, kGuidelines};
inline constexpr TableLimit kFarScheduleLimit{30000, kGuidelines};

// Terrestrial networks have less room.
inline constexpr int kTerrestrialNearDays = 1;
inline constexpr TableLimit kTerrestrialEitPfOtherLimit{20000, kGuidelines};
inline constexpr TableLimit kTerrestrialNearScheduleOtherLimit{60000, kGuidelines};
inline constexpr TableLimit kTerrestrialFarScheduleOtherLimit{300000, kGuidelines};

inline constexpr TableLimit kMgtLimit{150, kAtsc};
inline constexpr TableLimit kVctLimit{400, kAtsc};
inline constexpr TableLimit kRrtLimit{60000, kAtsc};
inline constexpr TableLimit kSttLimit{1000, kAtsc};

/// Who asks for kSectionDistance.
inline constexpr const char* kSectionDistanceSource = "EN 300 468 clause 5.1.4.1";

/// What a stream is sent on.
enum class Network { kCableOrSatellite, kTerrestrial };

/// The limit of one section of a table; none where no standard has one. How far ahead a schedule is, its table_id
/// and section_number tell.
[[nodiscard]] std::optional<TableLimit> limitOf(std::uint8_t table_id, std::uint8_t section_number,
                                                Network network);

/// Whether kSectionDistance holds for a table: for PSI and for the SI of EN 300 468, but for stuffing.
[[nodiscard]] bool keepsGap(std::uint8_t table_id);

}  // namespace vantor::psi
