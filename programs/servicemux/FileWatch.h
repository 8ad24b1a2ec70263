#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vantor::cli {

/// Tells when one of some files may have become another one: written, replaced by another of its name, or gone. It
/// watches their folders, since editors put a new file in the place of the old one.
class FileWatch {
 public:
  /// What cannot be watched, as in a system that has no room for more watches, is not: problem() tells.
  explicit FileWatch(const std::vector<std::string>& paths);
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;
  ~FileWatch();

  /// Readable, in the sense of poll(2), when there is something to take; -1 when nothing is watched.
  int fd() const { return descriptor; }

  /// Takes what has happened in the folders. True when one of the files may be another one now.
  bool takeChanges();

  /// Why not all files are watched, empty when they are.
  const std::string& problem() const { return trouble; }

 private:
  void watch(const std::string& path);

  int descriptor;
  std::map<int, std::set<std::string>> names;  // of the files in each folder that is watched
  std::string trouble;
};

}  // namespace vantor::cli
