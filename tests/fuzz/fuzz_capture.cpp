#include <algorithm>
#include <string>

#include "programs/inputs/Content.h"
#include "programs/servicemux/captureReport.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/Capture.h"
#include "tests/fuzz/fuzzTarget.h"
#include "tests/fuzz/roundTrip.h"
#include "tests/programs/captures.h"
#include "tests/programs/inputs/MemoryBytes.h"
#include "tests/programs/streams.h"

using namespace vantor;

namespace {

/// Sections as the bytes have them, but with right lengths and CRCs, which no fuzzer finds by itself. Each begins
/// with a byte for the PID, then table id, id extension, version, numbers, and the length of its payload.
std::vector<std::pair<unsigned, std::string>> repairedSections(std::string_view bytes) {
  constexpr std::size_t kHead = 8;
  constexpr unsigned kPids[] = {0x00, 0x01, 0x10, 0x11, 0x100, 0x1FFB, 0x12};
  std::vector<std::pair<unsigned, std::string>> out;
  while (bytes.size() >= kHead) {
    const unsigned pid = kPids[tables::byteAt(bytes, 0) % std::size(kPids)];
    const std::size_t length = std::min<std::size_t>(tables::wordAt(bytes, 6) % 1200, bytes.size() - kHead);
    out.emplace_back(pid, testing::makeSection(tables::byteAt(bytes, 1), tables::byteAt(bytes, 2),
                                               tables::byteAt(bytes, 3) & 0x1F, tables::byteAt(bytes, 4),
                                               tables::byteAt(bytes, 5), std::string(bytes.substr(kHead, length))));
    bytes.remove_prefix(kHead + length);
  }
  return out;
}

/// Whatever the bytes turn out to be.
tables::Capture readAnything(const std::string& bytes) {
  const inputs::Content content = inputs::contentOf(std::make_unique<testing::MemoryBytes>(bytes), "input");
  if (content.packets) return tables::readTransportStream(*content.packets);
  return tables::readSections(inputs::readAll(*content.bytes));
}

tables::Capture read(char kind, std::string_view bytes) {
  std::string file;
  switch (kind) {
    case 't':
      return tables::readTransportStream(std::string(bytes));
    case 'a':
      return readAnything(std::string(bytes));
    case 'b':
      return tables::readSections(bytes);
    case 'T':  // a stream of repaired sections
      for (const auto& [pid, section] : repairedSections(bytes)) file += testing::Packer(pid).packed({section});
      return tables::readTransportStream(file);
    default:  // a file of them
      for (const auto& [pid, section] : repairedSections(bytes)) file += section;
      return tables::readSections(file);
  }
}

}  // namespace

/// The first byte says what the others are.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  try {
    const tables::Capture capture =
        read(static_cast<char>(data[0]), {reinterpret_cast<const char*>(data) + 1, size - 1});
    for (const auto& line : cli::captureNotes(capture)) fuzz::requirePrintable(line);
    for (const auto& line : cli::captureTable(capture)) fuzz::requirePrintable(line);
    fuzz::requireRoundTrips(capture.tables);
  } catch (const tables::InputError& error) {
    fuzz::requirePrintable(error.what());
  }
  return 0;
}
