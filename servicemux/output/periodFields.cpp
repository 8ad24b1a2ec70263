#include "servicemux/output/periodFields.h"

#include <algorithm>

#include "interface/checks/periods.h"

namespace vantor {

namespace {

// What has 16 bits in the registries.
constexpr unsigned int k16Bits = 0xFFFF;
constexpr unsigned int kHour = kLongestPeriod;

constexpr const char* kMeasurement = "TR 101 290";
constexpr const char* kGuidelines = "TS 101 211 clause 4.4";
constexpr const char* kAtsc = "ATSC A/65 clause 7";

using Periods = InsertionPeriods;

// Where cable and satellite have another maximum than terrestrial networks it is that of the former, but for
// schedules: those of TS 101 211 depend on how far ahead they are, and the longest that terrestrial networks have
// for the days to come is taken, for other streams that of their first day.
constexpr std::array<PeriodField, kPeriodFieldCount> kFields{{
    {"pat", &Periods::pat, kHour, 500, kMeasurement},
    {"pmt", &Periods::pmt, kHour, 500, kMeasurement},
    {"cat", &Periods::cat, kHour, 500, "common practice"},  // no standard says how often, monitors expect this
    {"nit", &Periods::nit, kHour, 10000, kGuidelines},
    {"sdt_actual", &Periods::sdtActual, k16Bits, 2000, kGuidelines},
    {"sdt_other", &Periods::sdtOther, k16Bits, 10000, kGuidelines},
    {"eit_pf_actual", &Periods::eitPresentFollowingActual, k16Bits, 2000, kGuidelines},
    {"eit_pf_other", &Periods::eitPresentFollowingOther, k16Bits, 10000,
     "TS 101 211 clause 4.4 (20000 ms on terrestrial networks)"},
    {"eit_schedule_actual", &Periods::eitScheduleActual, k16Bits, 30000, kGuidelines},
    {"eit_schedule_other", &Periods::eitScheduleOther, k16Bits, 60000, kGuidelines},
    {"time", &Periods::timeUpdater, kHour, 30000, kGuidelines},
    {"mgt", &Periods::mgt, kHour, 150, kAtsc},
    {"vct_terrestrial", &Periods::vctTerrestrial, kHour, 400, kAtsc},
    {"vct_cable", &Periods::vctCable, kHour, 400, kAtsc},
    {"rrt", &Periods::rrt, kHour, 60000, kAtsc},
    {"stt", &Periods::stt, kHour, 1000, kAtsc},
    {"ecm", &Periods::ecm, kHour},
    {"emm", &Periods::emmSpreading, kHour},
}};

bool canBeSet(const Field& record, const InsertionPeriods& periods) {
  return std::all_of(kFields.begin(), kFields.end(), [&](const PeriodField& field) {
    return isPeriod(record[field.name], periods.*field.value, field.longest);
  });
}

}  // namespace

const std::array<PeriodField, kPeriodFieldCount>& periodFields() { return kFields; }

const PeriodField* findPeriodField(std::string_view name) {
  const auto* const found =
      std::find_if(kFields.begin(), kFields.end(), [=](const PeriodField& field) { return name == field.name; });
  return found == kFields.end() ? nullptr : found;
}

std::optional<Refusal> check(const PeriodField& field, std::int64_t period) {
  std::optional<Refusal> refusal;
  if (isPeriod(Field(refusal)[field.name], period, field.longest)) return std::nullopt;
  return refusal;
}

std::optional<Refusal> check(const InsertionPeriods& periods) { return refusalOf(periods, &canBeSet); }

std::vector<std::string> warningsOf(const InsertionPeriods& periods) {
  std::vector<std::string> warnings;
  for (const PeriodField& field : kFields)
    if (field.maximum != 0 && periods.*field.value > field.maximum)
      warnings.push_back(std::string(field.name) + ": " + milliseconds(periods.*field.value) + " is above the " +
                         milliseconds(field.maximum) + " of " + field.source);
  return warnings;
}

}  // namespace vantor
