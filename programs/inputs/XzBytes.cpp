#include "programs/inputs/XzBytes.h"

#include <cstdint>
#include <new>

namespace vantor::inputs {

namespace {

constexpr std::uint64_t kMostMemory = 256 << 20;  // xz -9 needs 65 MiB

}  // namespace

XzBytes::XzBytes(std::unique_ptr<ByteSource> from) : from(std::move(from)) {
  if (lzma_stream_decoder(&stream, kMostMemory, LZMA_CONCATENATED) != LZMA_OK) throw std::bad_alloc();
}

XzBytes::~XzBytes() { lzma_end(&stream); }

std::optional<std::size_t> XzBytes::read(char* to, std::size_t size, Deadline deadline) {
  stream.next_out = reinterpret_cast<std::uint8_t*>(to);
  stream.avail_out = size;
  while (!ended && stream.avail_out == size) {
    if (stream.avail_in == 0 && !allIsIn) {
      const auto count = from->read(reinterpret_cast<char*>(packed.data()), packed.size(), deadline);
      if (!count) return std::nullopt;
      stream.next_in = packed.data();
      stream.avail_in = *count;
      allIsIn = *count == 0;
    }
    ended = endsHere(lzma_code(&stream, allIsIn ? LZMA_FINISH : LZMA_RUN));
  }
  return size - stream.avail_out;
}

/// Looks at what lzma_code() has returned.
bool XzBytes::endsHere(lzma_ret result) {
  if (result == LZMA_OK) return false;
  if (result == LZMA_BUF_ERROR)
    fault = "the xz data break off; what is there is read";
  else if (result == LZMA_MEMLIMIT_ERROR)
    fault = "the xz data need more memory than " + std::to_string(kMostMemory >> 20) + " MiB";
  else if (result != LZMA_STREAM_END)
    fault = "the xz data are damaged; what comes before is read";
  return true;
}

}  // namespace vantor::inputs
