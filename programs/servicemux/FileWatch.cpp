#include "programs/servicemux/FileWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace vantor::cli {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;

}  // namespace

FileWatch::FileWatch(const std::vector<std::string>& paths) : descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (descriptor < 0) trouble = std::strerror(errno);
  for (const std::string& path : paths) {
    watch(path);
    // What a link leads to is written where it is.
    std::error_code none;
    const fs::path real = fs::canonical(path, none);
    if (!none) watch(real);
  }
}

FileWatch::~FileWatch() {
  if (descriptor >= 0) close(descriptor);
}

void FileWatch::watch(const std::string& path) {
  const fs::path file(path);
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  const int number = inotify_add_watch(descriptor, folder.c_str(), kEvents);
  if (number >= 0)
    names[number].insert(file.filename());
  else if (trouble.empty())
    trouble = std::strerror(errno);
}

bool FileWatch::takeChanges() {
  alignas(inotify_event) std::array<char, 4096> buffer;
  bool changed = false;
  for (ssize_t size; (size = read(descriptor, buffer.data(), buffer.size())) > 0;)
    for (const char* at = buffer.data(); at < buffer.data() + size;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(at);
      at += sizeof *event + event->len;
      // What did not fit into the queue may have been anything.
      if ((event->mask & IN_Q_OVERFLOW) != 0) changed = true;
      const auto folder = names.find(event->wd);
      if (event->len > 0 && folder != names.end() && folder->second.count(event->name) != 0) changed = true;
    }
  return changed;
}

}  // namespace vantor::cli
