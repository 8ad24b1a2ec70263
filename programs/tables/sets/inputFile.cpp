#include "programs/tables/sets/inputFile.h"

#include <iterator>
#include <utility>

#include "programs/inputs/Content.h"
#include "programs/inputs/open.h"
#include "programs/tables/json/InputError.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kPieceSize = 1U << 20;  // bytes

/// Takes a source's bytes piece by piece.
class Pieces {
 public:
  Pieces(inputs::ByteSource& bytes, const ReadProgress& progress) : bytes(bytes), progress(progress) {}

  /// The next piece, empty at the end.
  std::string_view next() {
    piece.resize(kPieceSize);
    piece.resize(bytes.read(piece.data(), piece.size(), inputs::Deadline::max()).value_or(0));
    if (progress) progress(bytes.progress());
    return piece;
  }

 private:
  inputs::ByteSource& bytes;
  const ReadProgress& progress;
  std::string piece;
};

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

InputFile readJsonBytes(inputs::ByteSource& bytes, UtcTime now, Versions versions, const ReadProgress& progress) {
  Pieces pieces(bytes, progress);
  InputFile file;
  file.tables = readTableSet([&pieces] { return pieces.next(); }, now, versions);
  return file;
}

InputFile read(const std::string& input, const inputs::InputOptions& options, const ReadingEnd& end,
               Versions versions, UtcTime now, const ReadProgress& progress) {
  // What inputs throw names the input.
  const inputs::Content content = inputs::openContent(input, options);
  Capture capture;
  std::string sections;
  if (content.packets)
    capture = readTransportStream(*content.packets, end);
  else if (content.kind == inputs::Content::Kind::sections)
    sections = inputs::readAll(*content.bytes);
  try {
    if (content.kind == inputs::Content::Kind::json) return readJsonBytes(*content.bytes, now, versions, progress);
    if (content.kind == inputs::Content::Kind::sections) return readSectionBytes(sections, content.bytes->note());
    if (!content.packets->isLive()) requirePackets(capture);
    return fromCapture(std::move(capture));
  } catch (const InputError& error) {
    InputErrors errors;
    for (const std::string& line : linesOf(error)) errors.add(printable(input) + ": " + line);
    throw InputErrors(errors);
  }
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
  if (inputs::isLive(path)) throw InputError(printable(path) + ": is live, make a table set of it with import");
  ReadingEnd end;
  end.goesOn = [&progress](const inputs::PacketSource& source) {
    if (progress) progress(source.progress());
    return true;
  };
  return read(path, {}, end, Versions::any, now, progress);
}

InputFile readInput(const std::string& input, const inputs::InputOptions& options, const ReadingEnd& end,
                    Versions versions) {
  return read(input, options, end, versions, std::chrono::system_clock::now(), {});
}

}  // namespace vantor::tables
