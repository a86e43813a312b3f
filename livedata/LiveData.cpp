#include "livedata/LiveData.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <fstream>

#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"
#include "livedata/Timestamp.h"

namespace {

const char* envOrEmpty(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "";
}

const char* epollErrorName(int error) {
  switch (error) {
    case EBADF: return "EBADF";
    case EFAULT: return "EFAULT";
    case EINVAL: return "EINVAL";
    default: return "";
  }
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

LiveData::LiveData() {
  meterRoot_ = envOrEmpty("METER_ROOT");
  webRoot_ = envOrEmpty("WEB_ROOT");
  epollFd_ = epoll_create(1);
  if (epollFd_ < 0) {
    int error = errno;
    fprintf(stderr, "LiveData epoll_create error=%d\n", error);
    runtime_log("LiveData epoll_create error=%d\n", error);
  }
  eventFd_ = eventfd(0, 0);
  if (eventFd_ < 0) {
    int error = errno;
    fprintf(stderr, "LiveData eventfd error=%d\n", error);
    runtime_log("LiveData eventfd error=%d\n", error);
  }
  struct epoll_event event;
  memset(&event, 0, sizeof event);
  event.events = EPOLLIN;
  event.data.fd = eventFd_;
  if (epoll_ctl(epollFd_, EPOLL_CTL_ADD, eventFd_, &event) < 0) {
    int error = errno;
    fprintf(stderr, "LiveData epoll_ctl EPOLL_CTL_ADD error=%d\n", error);
    runtime_log("LiveData epoll_ctl EPOLL_CTL_ADD error=%d\n", error);
  }
  unsigned int synch = 0;
  dm_wait_synch(&dm, 203, &synch);
}

LiveData::~LiveData() {
  stop();
  struct epoll_event event;
  memset(&event, 0, sizeof event);
  if (epoll_ctl(epollFd_, EPOLL_CTL_DEL, eventFd_, &event) < 0) {
    int error = errno;
    fprintf(stderr, "LiveData epoll_ctl EPOLL_CTL_DEL error=%d\n", error);
    runtime_log("LiveData epoll_ctl EPOLL_CTL_DEL error=%d\n", error);
  }
  if (eventFd_ >= 0) close(eventFd_);
  if (epollFd_ >= 0) close(epollFd_);
}

int LiveData::init() { return 0; }

int LiveData::getData() { return 0; }

std::string LiveData::displayData() { return std::string(); }

int LiveData::run(pthread_t* thread, void* (*start)(void*)) {
  running_.store(true, std::memory_order_relaxed);
  return pthread_create(thread, nullptr, start, this);
}

int LiveData::run() { return run(&threadId_, cmd_process_thread); }

int LiveData::stop(pthread_t* thread, int fd) {
  running_.store(false, std::memory_order_relaxed);
  if (thread == &threadId_) {
    signalEventFd();
  } else {
    signalEventFd(fd);
  }
  if (*thread == 0) return 0;
  int status = pthread_cancel(*thread);
  if (status != 0) return status;
  pthread_join(*thread, nullptr);
  *thread = 0;
  return 0;
}

int LiveData::stop() { return stop(&threadId_, -1); }

void LiveData::signalEventFd(int fd) { eventfd_write(fd, 0); }

void LiveData::signalEventFd() { signalEventFd(eventFd_); }

void LiveData::waitOnEventFd(int epfd, int timeout_ms) {
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
  if (count == 0) return;
  if (event.data.fd == eventFd_) {
    eventfd_t value = 0;
    if (eventfd_read(eventFd_, &value) < 0) {
      int error = errno;
      fprintf(stderr, "LiveData eventfd_read error=%d\n", error);
      runtime_log("LiveData eventfd_read error=%d\n", error);
    }
  }
}

void LiveData::waitOnEventFd() { waitOnEventFd(epollFd_, interval_); }

void LiveData::setJsonFile(const char* path) { snprintf(jsonFile_, sizeof jsonFile_, "%s", path); }

void LiveData::setLastUpdateTime() { clock_gettime(CLOCK_REALTIME, &lastUpdateTime_); }

int LiveData::checkLastUpdateTime(int ms) {
  struct timespec now = {0, 0};
  if (clock_gettime(CLOCK_REALTIME, &now) != 0) printf("clock_gettime error=%d\n", errno);
  if (now.tv_sec < lastUpdateTime_.tv_sec ||
      (now.tv_sec == lastUpdateTime_.tv_sec && now.tv_nsec < lastUpdateTime_.tv_nsec)) {
    return 1;  // the clock was set back
  }
  struct timespec due = lastUpdateTime_;
  long long nanoseconds = static_cast<long long>(due.tv_nsec) + static_cast<long long>(ms) * 1000000LL;
  due.tv_sec += static_cast<time_t>(nanoseconds / 1000000000LL);
  due.tv_nsec = static_cast<long>(nanoseconds % 1000000000LL);
  if (due.tv_nsec < 0) {
    due.tv_nsec += 1000000000L;
    due.tv_sec -= 1;
  }
  if (now.tv_sec > due.tv_sec || (now.tv_sec == due.tv_sec && now.tv_nsec > due.tv_nsec)) return 1;
  return 0;
}

int LiveData::checkLastUpdateTime() { return checkLastUpdateTime(interval_); }

int LiveData::updateDataFile(const std::string& text) {
  std::ofstream out(jsonFile_, std::ios::out | std::ios::trunc);
  out << text;
  out.close();
  return 0;
}

std::string LiveData::getTimeStampString(ZUL_TIMESTAMP_8B_STRUCT ts) {
  char text[kTimestampTextSize];
  sprint_out_ZUL_8byte_timestamp(text, &ts, 1);
  return std::string(text);
}

void* LiveData::cmd_process_thread(void* self) {
  // Cancellation is accepted only at the sleep points of the cycle.
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  LiveData* object = static_cast<LiveData*>(self);
  object->update_thread(object->writeThrough_);
  return nullptr;
}

int LiveData::update_thread(bool writeThrough) {
  init();
  if (!isRunning()) return 0;
  for (;;) {
    runCycle(writeThrough);
    // No object with a destructor is alive here: cancellation at these two
    // sleeps unwinds nothing but plain frames.
    cancellableSleepUs(1000);
    waitOnEventFd();
    if (!isRunning()) return 0;
  }
}

void LiveData::runCycle(bool writeThrough) {
  getData();
  std::string text = displayData();
  if (writeThrough) updateDataFile(text);
}

bool LiveData::debugEnabled() const { return debug && (debugMask & debugMaskBits_) != 0; }

void LiveData::cancellableSleepUs(unsigned int microseconds) {
  int previous = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &previous);
  usleep(microseconds);
  pthread_setcancelstate(previous, nullptr);
}
