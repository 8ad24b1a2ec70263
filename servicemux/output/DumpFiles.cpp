#include "servicemux/output/DumpFiles.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/chrono.hpp>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "interface/dvbpsi.h"
#include "interface/host.h"
#include "interface/psi/tableIds.h"
#include "servicemux/packetize/packetize.h"

namespace vantor {

namespace {

using boost::chrono::hours;
using boost::chrono::nanoseconds;

// One nanosecond less than 7 days: pruning again needs more than this.
constexpr nanoseconds kPruningPause = nanoseconds(hours(7 * 24)) - nanoseconds(1);
constexpr std::int32_t kMaxAge = 30 * 24;  // hours
constexpr std::string_view kExtension = ".bin";

std::string currentLink(const std::string& directory, const std::string& table) {
  return directory + "/current_" + table + ".bin";
}

/// Removes a file or a link, never a directory. An error is ignored: dump files help to find faults and must not
/// disturb the multiplex.
void removeFile(const std::string& path) { unlink(path.c_str()); }

bool isDumpFileName(std::string_view name) {
  const auto dot = name.rfind('.');
  return dot != std::string_view::npos && dot != 0 && name.substr(dot) == kExtension;
}

/// The dump files of a directory: those that may be pruned, and the inodes that links protect.
struct Listing {
  std::vector<std::pair<std::string, struct stat>> files;
  std::unordered_set<ino_t> inForce;
};

Listing listFiles(DIR* directory, const std::string& path) {
  Listing found;
  while (const dirent* const entry = readdir(directory)) {
    if ((entry->d_type != DT_REG && entry->d_type != DT_LNK) || !isDumpFileName(entry->d_name)) continue;
    const std::string file = path + "/" + entry->d_name;
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) continue;
    if (entry->d_type == DT_REG)
      found.files.emplace_back(file, status);
    else
      found.inForce.insert(status.st_ino);
  }
  return found;
}

std::int32_t hoursSinceEpoch() {
  using boost::chrono::system_clock;
  return static_cast<std::int32_t>(
      boost::chrono::duration_cast<hours>(system_clock::now().time_since_epoch()).count());
}

}  // namespace

DumpFiles::DumpFiles(std::string directory) : directory(std::move(directory)) {}

std::string DumpFiles::tableName(unsigned char table_id, unsigned short extension) {
  switch (table_id) {
    case kPatTableId:
      return "PAT";
    case kCatTableId:
      return "CAT";
    case kPmtTableId:
      return "PMT_" + std::to_string(extension);
    case kNitActualTableId:
      return "NITact";
    case kSdtActualTableId:
      return "SDTact";
    default:
      return "";
  }
}

void DumpFiles::dump(const dvbpsi_psi_section_s* sections) const {
  if (directory.empty()) return;
  const std::string table = tableName(sections->i_table_id, sections->i_extension);
  if (table.empty()) return;
  const std::string file = "table_" + table + "_" + std::to_string(sections->i_version) + ".bin";
  {
    std::ofstream out(directory + "/" + file, std::ios::binary | std::ios::trunc);
    if (!out) return;
    for (const auto* section = sections; section != nullptr; section = section->p_next)
      out.write(reinterpret_cast<const char*>(section->p_data),
                static_cast<std::streamsize>(sectionSize(*section)));
  }
  const std::string link = currentLink(directory, table);
  removeFile(link);
  [[maybe_unused]] const int ignored = symlink(file.c_str(), link.c_str());
}

void DumpFiles::removeLink(unsigned char table_id, unsigned short extension) const {
  if (directory.empty()) return;
  const std::string table = tableName(table_id, extension);
  if (table.empty()) return;
  removeFile(currentLink(directory, table));
}

void DumpFiles::removeAll() const {
  if (directory.empty()) return;
  const std::string command = "rm -f " + directory + "/" + "*.bin";
  [[maybe_unused]] const int ignored = std::system(command.c_str());
}

void DumpFiles::prune() {
  if (directory.empty()) return;
  const auto now = Clock::now();
  if (now - lastPruning <= kPruningPause) return;
  lastPruning = now;
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearOldDumpedTables");
  DIR* const open = opendir(directory.c_str());
  if (open == nullptr) return;
  const Listing found = listFiles(open, directory);
  closedir(open);
  const std::int32_t now_h = hoursSinceEpoch();
  for (const auto& [file, status] : found.files) {
    const auto age = now_h - static_cast<std::int32_t>(status.st_mtime / 3600);
    if (age > kMaxAge && found.inForce.count(status.st_ino) == 0) removeFile(file);
  }
}

}  // namespace vantor
