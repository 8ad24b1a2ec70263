#include "servicemux/output/periodFields.h"

#include <algorithm>

#include "interface/checks/periods.h"
#include "interface/psi/tableLimits.h"

namespace vantor {

namespace {

// What has 16 bits in the registries.
constexpr unsigned int k16Bits = 0xFFFF;
constexpr unsigned int kHour = kLongestPeriod;

using Periods = InsertionPeriods;

constexpr PeriodField limited(const char* name, unsigned int Periods::*value, unsigned int longest,
                              const psi::TableLimit& limit) {
  return {name, value, longest, limit.maximum, limit.source};
}

// Where cable and satellite have another maximum than terrestrial networks it is that of the former, but for
// schedules: those of TS 101 211 depend on how far ahead they are, and the longest that terrestrial networks have
// for the days to come is taken, for other streams that of their first day.
constexpr std::array<PeriodField, kPeriodFieldCount> kFields{{
    limited("pat", &Periods::pat, kHour, psi::kPatLimit),
    limited("pmt", &Periods::pmt, kHour, psi::kPmtLimit),
    {"cat", &Periods::cat, kHour, 500, "common practice"},  // no standard says how often, monitors expect this
    limited("nit", &Periods::nit, kHour, psi::kNitLimit),
    limited("sdt_actual", &Periods::sdtActual, k16Bits, psi::kSdtActualLimit),
    limited("sdt_other", &Periods::sdtOther, k16Bits, psi::kSdtOtherLimit),
    limited("eit_pf_actual", &Periods::eitPresentFollowingActual, k16Bits, psi::kEitPfActualLimit),
    {"eit_pf_other", &Periods::eitPresentFollowingOther, k16Bits, psi::kEitPfOtherLimit.maximum,
     "TS 101 211 clause 4.4 (20000 ms on terrestrial networks)"},
    limited("eit_schedule_actual", &Periods::eitScheduleActual, k16Bits, psi::kFarScheduleLimit),
    limited("eit_schedule_other", &Periods::eitScheduleOther, k16Bits, psi::kTerrestrialNearScheduleOtherLimit),
    limited("time", &Periods::timeUpdater, kHour, psi::kTimeLimit),
    limited("mgt", &Periods::mgt, kHour, psi::kMgtLimit),
    limited("vct_terrestrial", &Periods::vctTerrestrial, kHour, psi::kVctLimit),
    limited("vct_cable", &Periods::vctCable, kHour, psi::kVctLimit),
    limited("rrt", &Periods::rrt, kHour, psi::kRrtLimit),
    limited("stt", &Periods::stt, kHour, psi::kSttLimit),
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
