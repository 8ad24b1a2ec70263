#include "programs/tables/sets/inputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/tableSetJson.h"

namespace vantor::tables {

namespace {

std::string readAll(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) throw InputError("is a directory");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw InputError(std::strerror(errno));
  std::ostringstream bytes;
  // An empty file sets failbit on the stream it is copied to; that is no error here.
  bytes << file.rdbuf();
  if (file.bad()) throw InputError(std::strerror(errno));
  return std::move(bytes).str();
}

InputFile fromCapture(Capture capture) {
  InputFile file;
  file.tables = std::exchange(capture.tables, {});
  file.capture = std::move(capture);
  return file;
}

InputFile read(const std::string& path, UtcTime now) {
  const std::string extension = std::filesystem::path(path).extension();
  if (extension == ".json") {
    InputFile file;
    file.tables = readTableSet(readAll(path), now);
    return file;
  }
  if (extension == ".ts") return fromCapture(readTransportStream(readAll(path)));
  if (extension == ".bin") return fromCapture(readSections(readAll(path)));
  throw InputError("the name ends in none of .json, .ts and .bin");
}

}  // namespace

InputFile readInputFile(const std::string& path, UtcTime now) {
  try {
    return read(path, now);
  } catch (const InputError& error) {
    InputErrors errors;
    for (const std::string& line : linesOf(error)) errors.add(printable(path) + ": " + line);
    throw errors;
  }
}

}  // namespace vantor::tables
