#include "programs/servicemux/Wake.h"

#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vantor::cli {

Wake::Wake(const std::vector<int>& descriptors) : descriptor(epoll_create1(EPOLL_CLOEXEC)) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "epoll");
  for (const int other : descriptors) {
    epoll_event event{};
    event.events = EPOLLIN;
    if (other >= 0) epoll_ctl(descriptor, EPOLL_CTL_ADD, other, &event);
  }
}

Wake::~Wake() { close(descriptor); }

void Wake::remove(int other) const { epoll_ctl(descriptor, EPOLL_CTL_DEL, other, nullptr); }

bool isReadable(int descriptor) {
  pollfd event{descriptor, POLLIN, 0};
  return poll(&event, 1, 0) > 0;
}

}  // namespace vantor::cli
