#include "programs/inputs/Content.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "interface/psi/section.h"
#include "programs/inputs/FileBytes.h"
#include "programs/inputs/GzipBytes.h"
#include "programs/inputs/PcapPackets.h"
#include "programs/inputs/PeekedBytes.h"
#include "programs/inputs/SocketPackets.h"
#include "programs/inputs/StreamPackets.h"
#include "programs/inputs/XzBytes.h"
#include "programs/inputs/open.h"
#include "programs/tables/json/InputError.h"

namespace vantor::inputs {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kFirstLook = 1024;       // more than it takes to recognise packets from the first byte on
constexpr std::size_t kFurtherLook = 1 << 20;  // of junk in front of packets
constexpr int kMostLayers = 4;                 // of compression over one another

bool beginsWith(std::string_view bytes, std::string_view magic) { return bytes.substr(0, magic.size()) == magic; }

/// RFC 1952 clause 2.3.1.
bool isGzip(std::string_view bytes) { return beginsWith(bytes, "\x1F\x8B\x08"sv); }

/// The .xz file format, clause 2.1.1.1.
bool isXz(std::string_view bytes) {
  return beginsWith(bytes,
                    "\xFD"
                    "7zXZ\0"sv);
}

/// pcap with times in microseconds and nanoseconds, either way round, and pcapng's Section Header Block.
bool isPcap(std::string_view bytes) {
  static constexpr std::array kMagics{"\xA1\xB2\xC3\xD4"sv, "\xD4\xC3\xB2\xA1"sv, "\xA1\xB2\x3C\x4D"sv,
                                      "\x4D\x3C\xB2\xA1"sv, "\x0A\x0D\x0D\x0A"sv};
  return std::any_of(kMagics.begin(), kMagics.end(),
                     [=](std::string_view magic) { return beginsWith(bytes, magic); });
}

/// An object that is empty or begins with a name.
bool isJson(std::string_view bytes) {
  static constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = bytes.find_first_not_of(kBlanks);
  if (first == std::string_view::npos || bytes[first] != '{') return false;
  const std::size_t second = bytes.find_first_not_of(kBlanks, first + 1);
  return second == std::string_view::npos || bytes[second] == '"' || bytes[second] == '}';
}

/// Whether the bytes divide into sections; with `all` to the last of them.
bool isSections(std::string_view bytes, bool all) {
  constexpr std::size_t kEnough = 3;
  std::size_t count = 0;
  while (bytes.size() >= kSectionHeaderSize && count < kEnough) {
    const auto byteAt = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    const std::size_t length = (byteAt(1) << 8 | byteAt(2)) & kSectionLengthMask;
    if (length > kMaxSectionLength || length == 0) return false;
    if (kSectionHeaderSize + length > bytes.size()) return !all && count > 0;
    bytes.remove_prefix(kSectionHeaderSize + length);
    ++count;
  }
  return count == kEnough || (count > 0 && bytes.empty());
}

std::optional<Content::Kind> kindOf(PeekedBytes& bytes, const std::string& extension) {
  if (extension == ".json") return Content::Kind::json;
  const std::string_view first = bytes.peek(kFirstLook);
  const bool isAll = first.size() < kFirstLook;
  if (beginsWithPackets(first, isAll)) return Content::Kind::packets;
  if (extension == ".bin") return Content::Kind::sections;
  if (isJson(first)) return Content::Kind::json;
  // Nothing but lengths tells sections, and junk in front of packets has some too.
  const std::string_view more = bytes.peek(kFurtherLook);
  if (holdsPackets(more, false)) return Content::Kind::packets;
  if (isSections(more.substr(0, kFirstLook), isAll)) return Content::Kind::sections;
  if (holdsPackets(more, more.size() < kFurtherLook)) return Content::Kind::packets;
  return std::nullopt;
}

std::unique_ptr<PeekedBytes> takeOffCompression(std::unique_ptr<ByteSource> from, Deadline until) {
  auto bytes = std::make_unique<PeekedBytes>(std::move(from), until);
  for (int layer = 0; layer < kMostLayers; ++layer) {
    const std::string_view magic = bytes->peek(6);
    if (isGzip(magic))
      bytes = std::make_unique<PeekedBytes>(std::make_unique<GzipBytes>(std::move(bytes)), until);
    else if (isXz(magic))
      bytes = std::make_unique<PeekedBytes>(std::make_unique<XzBytes>(std::move(bytes)), until);
    else
      break;
  }
  return bytes;
}

std::optional<Endpoint> streamOf(const InputOptions& options) {
  if (options.stream.empty()) return std::nullopt;
  if (auto stream = parseEndpoint(options.stream)) return stream;
  throw tables::InputError(tables::printable(options.stream) + ": is no address and port like 239.1.1.1:5004");
}

std::string nameOf(const std::string& input) { return input == "-" ? "stdin" : tables::printable(input); }

}  // namespace

Content contentOf(std::unique_ptr<ByteSource> from, const std::string& input, const InputOptions& options) {
  auto bytes = takeOffCompression(std::move(from), options.openUntil);
  const std::string extension = std::filesystem::path(input).extension();
  if (bytes->peek(1).empty() && extension != ".json")
    throw tables::InputError(nameOf(input) + ": " + (bytes->note().empty() ? "the file is empty" : bytes->note()));
  if (isPcap(bytes->peek(4)))
    return {Content::Kind::packets,
            std::make_unique<PcapPackets>(std::move(bytes), nameOf(input), streamOf(options)),
            {}};
  const auto kind = kindOf(*bytes, extension);
  if (!kind)
    throw tables::InputError(nameOf(input) +
                             ": holds no packets (nowhere is 0x47 every 188, 192 or 204 bytes), no sections and no "
                             "JSON");
  if (*kind == Content::Kind::packets) return {*kind, std::make_unique<StreamPackets>(std::move(bytes)), {}};
  return {*kind, {}, std::move(bytes)};
}

Content openContent(const std::string& input, const InputOptions& options) {
  if (!isLive(input)) return contentOf(std::make_unique<FileBytes>(input, options.wakeFd), input, options);
  return {Content::Kind::packets,
          std::make_unique<SocketPackets>(tables::printable(input), parseLiveAddress(input), options),
          {}};
}

std::string readAll(ByteSource& bytes) {
  constexpr std::size_t kPart = 1 << 16;
  std::string all;
  while (true) {
    const std::size_t before = all.size();
    all.resize(before + kPart);
    const std::size_t count = bytes.read(&all[before], kPart, Deadline::max()).value_or(0);
    all.resize(before + count);
    if (count == 0) return all;
  }
}

std::unique_ptr<PacketSource> open(const std::string& input, const InputOptions& options) {
  Content content = openContent(input, options);
  if (content.packets) return std::move(content.packets);
  throw tables::InputError(tables::printable(input) + ": is no transport stream");
}

}  // namespace vantor::inputs
