#include "programs/tables/values/charsets.h"

#include <iconv.h>

#include <cstdint>
#include <map>
#include <utility>

namespace vantor::tables {

namespace {

class Converter {
 public:
  Converter(const char* to, const char* from) : handle(iconv_open(to, from)) {}
  ~Converter() {
    if (isOpen()) iconv_close(handle);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  /// Returns nothing unless every character has its exact counterpart.
  std::optional<std::string> convert(std::string_view from) const {
    if (!isOpen()) return std::nullopt;
    std::string in(from);
    std::string out(kMostBytesOut * in.size(), '\0');
    char* read = in.data();
    char* write = out.data();
    std::size_t unread = in.size();
    std::size_t room = out.size();
    iconv(handle, nullptr, nullptr, nullptr, nullptr);
    if (iconv(handle, &read, &unread, &write, &room) != 0) return std::nullopt;
    // Some charsets hold a character back that the next one might have changed.
    if (iconv(handle, nullptr, nullptr, &write, &room) != 0) return std::nullopt;
    out.resize(out.size() - room);
    return out;
  }

 private:
  static constexpr std::size_t kMostBytesOut = 4;  // for one byte in, between any of the tables and UTF-8

  bool isOpen() const { return reinterpret_cast<std::intptr_t>(handle) != -1; }

  iconv_t handle;
};

}  // namespace

std::optional<std::string> convertText(const char* to, const char* from, std::string_view text) {
  // Opening a charset may load a library: a thread keeps what it has opened.
  thread_local std::map<std::pair<std::string, std::string>, Converter> converters;
  const auto [at, isNew] = converters.try_emplace({to, from}, to, from);
  return at->second.convert(text);
}

}  // namespace vantor::tables
