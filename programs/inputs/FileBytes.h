#pragma once

#include <sys/types.h>

#include <string>

#include "programs/inputs/ByteSource.h"

namespace vantor::inputs {

/// The bytes of a file, or of stdin.
class FileBytes final : public ByteSource {
 public:
  /// `path` is "-" for stdin. With `wakeFd` see InputOptions. Throws InputError when it cannot be opened.
  FileBytes(const std::string& path, int wakeFd);
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;
  ~FileBytes() override;

  std::optional<std::size_t> read(char* to, std::size_t room, Deadline deadline) override;
  std::optional<double> progress() const override;

 private:
  [[noreturn]] void fail(int error) const;

  const std::string name;  // as messages have it
  const int wakeFd;
  const int descriptor;
  off_t size = 0;  // 0 when it is not known
  off_t position = 0;
};

}  // namespace vantor::inputs
