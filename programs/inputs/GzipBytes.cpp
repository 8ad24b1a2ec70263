#include "programs/inputs/GzipBytes.h"

#include <new>

namespace vantor::inputs {

namespace {

constexpr int kGzipWindow = 15 + 16;  // the largest window, in gzip's format

}  // namespace

GzipBytes::GzipBytes(std::unique_ptr<ByteSource> from) : from(std::move(from)) {
  if (inflateInit2(&stream, kGzipWindow) != Z_OK) throw std::bad_alloc();
}

GzipBytes::~GzipBytes() { inflateEnd(&stream); }

std::optional<std::size_t> GzipBytes::read(char* to, std::size_t size, Deadline deadline) {
  stream.next_out = reinterpret_cast<Bytef*>(to);
  stream.avail_out = static_cast<uInt>(size);
  while (!ended && stream.avail_out == size) {
    if (stream.avail_in == 0) {
      const auto count = from->read(packed.data(), packed.size(), deadline);
      if (!count) return std::nullopt;
      stream.next_in = reinterpret_cast<Bytef*>(packed.data());
      stream.avail_in = static_cast<uInt>(*count);
      if (*count == 0) {
        ended = true;
        if (withinMember) fault = "the gzip data break off; what is there is read";
        break;
      }
    }
    withinMember = true;
    ended = endsHere(inflate(&stream, Z_NO_FLUSH));
  }
  return size - stream.avail_out;
}

/// Looks at what inflate() has returned.
bool GzipBytes::endsHere(int result) {
  if (result == Z_STREAM_END) {
    withinMember = false;
    return inflateReset(&stream) != Z_OK;
  }
  // Z_BUF_ERROR only says that more input is needed.
  if (result == Z_OK || result == Z_BUF_ERROR) return false;
  fault = "the gzip data are damaged; what comes before is read";
  return true;
}

}  // namespace vantor::inputs
