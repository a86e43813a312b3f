#include "export/ReadingLoop.h"

#include <errno.h>
#include <signal.h>
#include <time.h>

#include <stdexcept>

namespace ldexport {

namespace {

constexpr long long kNanosPerMilli = 1000000;
constexpr long long kNanosPerSecond = 1000000000;

long long monotonicNanos() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNanosPerSecond + now.tv_nsec;
}

int64_t unixMillisNow() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / kNanosPerMilli;
}

sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  return set;
}

// Waits until the monotonic deadline; returns the stop signal taken, or 0.
int waitUntil(long long deadline) {
  sigset_t set = stopSignals();
  for (;;) {
    long long left = deadline - monotonicNanos();
    if (left <= 0) left = 0;
    timespec timeout = {static_cast<time_t>(left / kNanosPerSecond),
                        static_cast<long>(left % kNanosPerSecond)};
    int signal = sigtimedwait(&set, nullptr, &timeout);
    if (signal > 0) return signal;
    if (errno == EAGAIN) return 0;  // the deadline came
    // EINTR: another signal's handler ran; wait on.
  }
}

}  // namespace

void blockStopSignals() {
  sigset_t set = stopSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

ReadingLoop::ReadingLoop(int intervalMs) : intervalMs_(intervalMs) {}

void ReadingLoop::addOutput(Output output) {
  if (outputCount_ == static_cast<int>(sizeof outputs_ / sizeof outputs_[0])) {
    throw std::logic_error("ReadingLoop: too many outputs");
  }
  outputs_[outputCount_++] = std::move(output);
}

void ReadingLoop::runOnePeriod() {
  reader_.read(unixMillisNow(), &snapshot_);
  for (int i = 0; i < outputCount_; ++i) outputs_[i](snapshot_);
}

int ReadingLoop::run(unsigned long long maxPeriods) {
  const long long interval = intervalMs_ * kNanosPerMilli;
  long long deadline = monotonicNanos();
  for (unsigned long long period = 0; maxPeriods == 0 || period < maxPeriods; ++period) {
    runOnePeriod();
    deadline += interval;
    long long now = monotonicNanos();
    if (deadline < now) deadline = now;
    int signal = waitUntil(deadline);
    if (signal != 0) return signal;
  }
  return 0;
}

}  // namespace ldexport
