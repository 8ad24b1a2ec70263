#pragma once

#include <boost/chrono.hpp>
#include <string>

struct dvbpsi_psi_section_s;

namespace vantor {

/// The dump files of one output: for each main table a file of its sections for each version, and a link to the
/// version in force. With an empty directory nothing is done. They are a diagnosis aid that must not disturb the
/// multiplex, so nothing here reports an error. Takes no lock: one caller at a time.
class DumpFiles {
 public:
  /// `directory` exists already; its name reaches a shell.
  explicit DumpFiles(std::string directory);

  /// Writes the sections to a file of their table and version and points the table's link at it.
  void dump(const dvbpsi_psi_section_s* sections) const;
  /// Removes the link of one table; its files stay.
  void removeLink(unsigned char table_id, unsigned short extension) const;
  /// Removes every file that ends in ".bin".
  void removeAll() const;
  /// Removes table files older than 30 days that no link points at; at most once in 7 days.
  void prune();

  /// The table's name in file names, empty when it is not dumped.
  [[nodiscard]] static std::string tableName(unsigned char table_id, unsigned short extension);

 private:
  using Clock = boost::chrono::steady_clock;

  const std::string directory;
  Clock::time_point lastPruning = Clock::now();
};

}  // namespace vantor
