#include "programs/tables/sets/inputFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/tableSetJson.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kPieceSize = 1U << 20;  // bytes

/// A file that is read from its beginning to its end.
class File {
 public:
  File(const std::string& path, const ReadProgress& progress) : progress(progress) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw InputError("is a directory");
    file.open(path, std::ios::binary);
    if (!file) throw InputError(std::strerror(errno));
    const auto known = std::filesystem::file_size(path, ignored);
    if (!ignored) size = known;
  }

  /// The next piece, empty at the end.
  std::string_view next() {
    piece.resize(kPieceSize);
    file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    if (file.bad()) throw InputError(std::strerror(errno));
    piece.resize(static_cast<std::size_t>(file.gcount()));
    done += piece.size();
    if (progress) progress(done, std::max(size, done));
    return piece;
  }

  std::string all() {
    std::string bytes;
    for (std::string_view read = next(); !read.empty(); read = next()) bytes += read;
    return bytes;
  }

 private:
  const ReadProgress& progress;
  std::ifstream file;
  std::string piece;
  std::uint64_t size = 0;  // as the file system has it, 0 when it does not know
  std::uint64_t done = 0;
};

InputFile fromCapture(Capture capture) {
  InputFile file;
  file.tables = std::exchange(capture.tables, {});
  file.capture = std::move(capture);
  return file;
}

InputFile read(const std::string& path, UtcTime now, const ReadProgress& progress) {
  const std::string extension = std::filesystem::path(path).extension();
  if (extension == ".json") {
    File text(path, progress);
    InputFile file;
    file.tables = readTableSet([&text] { return text.next(); }, now);
    return file;
  }
  if (extension == ".ts") return fromCapture(readTransportStream(File(path, progress).all()));
  if (extension == ".bin") return fromCapture(readSections(File(path, progress).all()));
  throw InputError("the name ends in none of .json, .ts and .bin");
}

}  // namespace

void leaveOutSections(InputFile& file) {
  file.tables.sections.clear();
  if (!file.capture) return;
  auto& imports = file.capture->imports;
  for (auto import = imports.begin(); import != imports.end();)
    import = import->second.asSections ? imports.erase(import) : std::next(import);
}

InputFile readInputFile(const std::string& path, UtcTime now, const ReadProgress& progress) {
  try {
    return read(path, now, progress);
  } catch (const InputError& error) {
    InputErrors errors;
    for (const std::string& line : linesOf(error)) errors.add(printable(path) + ": " + line);
    throw errors;
  }
}

}  // namespace vantor::tables
