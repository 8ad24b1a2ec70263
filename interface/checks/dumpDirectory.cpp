#include "interface/checks/dumpDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "interface/checks/Field.h"

namespace vantor {

namespace {

/// What a shell takes as it stands, also as an argument that follows a command's options.
bool isPlainForShell(const std::string& path) {
  constexpr const char* kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-";
  return !path.empty() && path.front() != '-' && path.find_first_not_of(kPlain) == std::string::npos;
}

/// A file that would be removed with the dumps though it is none; empty for none.
std::string foreignFileIn(const std::string& path, std::error_code& failed) {
  using Entries = std::filesystem::directory_iterator;
  for (Entries entry(path, failed); !failed && entry != Entries(); entry.increment(failed)) {
    std::string name = entry->path().filename();
    const bool isDump = name.rfind("table_", 0) == 0 || name.rfind("current_", 0) == 0;
    if (entry->path().extension() == ".bin" && !isDump) return name;
  }
  return "";
}

bool isSafe(const Field& field, const std::string& path) {
  const auto refuse = [&](const std::string& reason) { return field.refuse('\'' + path + '\'', reason); };
  if (!isPlainForShell(path)) return refuse("may only hold letters, digits and /._- and not begin with -");
  std::error_code failed;
  if (!std::filesystem::is_directory(path, failed)) return refuse("is not an existing directory");
  if (faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
    return refuse("cannot be written to: " + std::generic_category().message(errno));
  const std::string foreign = foreignFileIn(path, failed);
  if (failed) return refuse("cannot be read: " + failed.message());
  return foreign.empty() || refuse("holds " + foreign + ", and every *.bin there is removed at the end");
}

}  // namespace

std::optional<Refusal> checkDumpDirectory(const std::string& path) { return refusalOf(path, &isSafe); }

}  // namespace vantor
