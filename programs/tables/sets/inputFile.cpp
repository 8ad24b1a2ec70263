#include "programs/tables/sets/inputFile.h"

#include <utility>

#include "programs/inputs/Content.h"
#include "programs/inputs/open.h"
#include "programs/tables/json/InputError.h"

namespace vantor::tables {

namespace {

InputFile fromCapture(Capture capture) {
  InputFile file;
  file.tables = std::exchange(capture.tables, {});
  file.capture = std::move(capture);
  return file;
}

/// A file that promises packets and has none is no empty capture: its frames are of something else.
void requirePackets(const Capture& capture) {
  if (capture.packets > 0) return;
  std::string why = "holds no packets of a transport stream";
  for (const std::string& note : capture.inputNotes) why += "; " + note;
  throw InputError(why);
}

InputFile readSectionBytes(const std::string& bytes, const std::string& note) {
  InputFile file = fromCapture(readSections(bytes));
  if (!note.empty()) file.capture->inputNotes.push_back(note);
  return file;
}

InputFile readJsonBytes(const std::string& bytes, Versions versions) {
  InputFile file;
  file.tables = readTableSet(bytes, std::chrono::system_clock::now(), versions);
  return file;
}

}  // namespace

InputFile readInputFile(const std::string& path) {
  if (inputs::isLive(path)) throw InputError(printable(path) + ": is live, make a table set of it with import");
  return readInput(path, {}, {}, Versions::any);
}

InputFile readInput(const std::string& input, const inputs::InputOptions& options, const ReadingEnd& end,
                    Versions versions) {
  // What inputs throw names the input.
  const inputs::Content content = inputs::openContent(input, options);
  Capture capture;
  std::string bytes;
  if (content.packets)
    capture = readTransportStream(*content.packets, end);
  else
    bytes = inputs::readAll(*content.bytes);
  try {
    if (content.kind == inputs::Content::Kind::json) return readJsonBytes(bytes, versions);
    if (content.kind == inputs::Content::Kind::sections) return readSectionBytes(bytes, content.bytes->note());
    if (!content.packets->isLive()) requirePackets(capture);
    return fromCapture(std::move(capture));
  } catch (const InputError& error) {
    throw InputError(printable(input) + ": " + error.what());
  }
}

}  // namespace vantor::tables
