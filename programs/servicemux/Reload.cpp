#include "programs/servicemux/Reload.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/output/periodFields.h"

namespace vantor::cli {

namespace {

using std::chrono::milliseconds;

// Who writes one file mostly writes another one too, and some write one in several goes.
constexpr auto kRest = milliseconds(100);
constexpr auto kLongestUnrest = milliseconds(1000);
// Between the old file and the new one there may be none.
constexpr auto kLongestAbsence = milliseconds(1000);

bool areSame(const InsertionPeriods& a, const InsertionPeriods& b) {
  const auto& fields = periodFields();
  return std::all_of(fields.begin(), fields.end(),
                     [&](const PeriodField& field) { return a.*field.value == b.*field.value; });
}

std::string summaryOf(const tables::OnAir::Replacement& done, bool hasNewPeriods) {
  std::string text = "taken over: " + counted(done.changed, "table") + " changed, " + grouped(done.added) +
                     " new, " + grouped(done.removed) + " taken off";
  return hasNewPeriods ? text + ", other periods" : text;
}

}  // namespace

Reload::Reload(const PlayOptions& options, const PlayedTables& played, tables::UtcTime now, FileWatch& watch,
               serviceMux& mux, tables::OnAir& onAir)
    : options(options),
      mux(mux),
      onAir(onAir),
      watch(watch),
      periods(played.periods),
      warnings(played.warnings.begin(), played.warnings.end()),
      base(now) {}

void Reload::noticeChanges(Clock::time_point now) {
  if (!watch.takeChanges()) return;
  if (!dueAt) firstChange = now;
  dueAt = std::min(now + kRest, firstChange + kLongestUnrest);
}

void Reload::request(Clock::time_point now, tables::UtcTime utc) {
  base = utc;
  firstChange = now;
  dueAt = now;
}

bool Reload::isWaitingForAFile(Clock::time_point now) const {
  if (now >= firstChange + kLongestAbsence) return false;
  return std::any_of(options.files.begin(), options.files.end(), [](const std::string& path) {
    std::error_code ignored;
    return !std::filesystem::exists(path, ignored);
  });
}

std::vector<std::string> Reload::run(Clock::time_point now, const tables::ReadProgress& progress) {
  std::vector<std::string> lines;
  if (isWaitingForAFile(now)) {
    dueAt = now + kRest;
    return lines;
  }
  dueAt.reset();
  try {
    takeOver(readPlayedTables(options, base, progress), lines);
  } catch (const tables::InputError& error) {
    lines = tables::linesOf(error);
  }
  giveBackMemory();
  return shortened(std::move(lines));
}

void Reload::takeOver(PlayedTables next, std::vector<std::string>& lines) {
  tellNew(next.warnings, lines);
  const bool hasNewPeriods = !areSame(periods, next.periods);
  if (hasNewPeriods) mux.setInsertionPeriods(next.periods);
  periods = next.periods;
  const auto done = onAir.replace(std::move(next.tables), std::chrono::system_clock::now());
  lines.insert(lines.end(), done.warnings.begin(), done.warnings.end());
  if (!done.refused.empty()) lines.push_back(done.refused + ": the table cannot be sent");
  if (!options.quiet) lines.push_back(summaryOf(done, hasNewPeriods));
}

/// A warning that still holds was told before.
void Reload::tellNew(const std::vector<std::string>& all, std::vector<std::string>& lines) {
  for (const std::string& warning : all)
    if (warnings.count(warning) == 0) lines.push_back(warning);
  warnings = {all.begin(), all.end()};
}

}  // namespace vantor::cli
