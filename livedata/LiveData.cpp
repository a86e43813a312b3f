#include "livedata/LiveData.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "base/ReplacementFile.h"
#include "livedata/Globals.h"
#include "livedata/Timestamp.h"

namespace {

const char* envOrEmpty(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

LiveData::LiveData() : waiter_("LiveData") {
  meterRoot_ = envOrEmpty("METER_ROOT");
  webRoot_ = envOrEmpty("WEB_ROOT");
  unsigned int synch = 0;
  dm_wait_synch(&dm, 203, &synch);
}

LiveData::~LiveData() { stop(); }

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

void LiveData::signalEventFd(int fd) { EventWaiter::signal(fd); }

void LiveData::signalEventFd() { signalEventFd(waiter_.eventFd()); }

void LiveData::waitOnEventFd(int epfd, int timeout_ms) { waiter_.waitOn(epfd, timeout_ms); }

void LiveData::waitOnEventFd() { waiter_.wait(interval_); }

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
  long long nanoseconds =
      static_cast<long long>(due.tv_nsec) + static_cast<long long>(ms) * 1000000LL;
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
  // Replaced by rename like every document (mode 0644, owner kept): a link or
  // a FIFO at the name is never written through, readers never see it cut.
  base::ReplacementFile::replace(jsonFile_, text.data(), text.size(), 0644, false).ignore();
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
    cycleCompleted_.store(true, std::memory_order_release);
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
