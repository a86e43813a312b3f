#include "livedata/EventWaiter.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "livedata/RuntimeLog.h"

namespace {

const char* epollErrorName(int error) {
  switch (error) {
    case EBADF: return "EBADF";
    case EFAULT: return "EFAULT";
    case EINVAL: return "EINVAL";
    default: return "";
  }
}

// "OWNER WHAT error=N" on standard error and in the runtime log.
void reportSetupError(const char* owner, const char* what, int error) {
  fprintf(stderr, "%s %s error=%d\n", owner, what, error);
  runtime_log("%s %s error=%d\n", owner, what, error);
}

// Runs epoll_wait with cancellation enabled, restoring the caller's state after.
int epollWaitCancellable(int epfd, struct epoll_event* event, int timeout_ms) {
  int previous = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &previous);
  int count = epoll_wait(epfd, event, 1, timeout_ms);
  int error = errno;
  pthread_setcancelstate(previous, nullptr);
  errno = error;
  return count;
}

}  // namespace

EventWaiter::EventWaiter(const char* owner) : owner_(owner) {
  epollFd_ = epoll_create(1);
  if (epollFd_ < 0) reportSetupError(owner_, "epoll_create", errno);
  eventFd_ = eventfd(0, 0);
  if (eventFd_ < 0) reportSetupError(owner_, "eventfd", errno);
  struct epoll_event event;
  memset(&event, 0, sizeof event);
  event.events = EPOLLIN;
  event.data.fd = eventFd_;
  if (epoll_ctl(epollFd_, EPOLL_CTL_ADD, eventFd_, &event) < 0) {
    reportSetupError(owner_, "epoll_ctl EPOLL_CTL_ADD", errno);
  }
}

EventWaiter::~EventWaiter() {
  struct epoll_event event;
  memset(&event, 0, sizeof event);
  if (epoll_ctl(epollFd_, EPOLL_CTL_DEL, eventFd_, &event) < 0) {
    reportSetupError(owner_, "epoll_ctl EPOLL_CTL_DEL", errno);
  }
  if (eventFd_ >= 0) close(eventFd_);
  if (epollFd_ >= 0) close(epollFd_);
}

void EventWaiter::signal(int fd) { eventfd_write(fd, 0); }

void EventWaiter::waitOn(int epfd, int timeout_ms) const {
  struct epoll_event event;
  memset(&event, 0, sizeof event);
  int count;
  do {
    count = epollWaitCancellable(epfd, &event, timeout_ms);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    int error = errno;
    const char* name = epollErrorName(error);
    fprintf(stderr, "LiveData epoll_wait error=%d %s\n", error, name);
    runtime_log("LiveData epoll_wait error=%d %s\n", error, name);
    return;
  }
  if (count == 0 || event.data.fd != eventFd_) return;
  eventfd_t value = 0;
  if (eventfd_read(eventFd_, &value) < 0) {
    int error = errno;
    fprintf(stderr, "LiveData eventfd_read error=%d\n", error);
    runtime_log("LiveData eventfd_read error=%d\n", error);
  }
}
