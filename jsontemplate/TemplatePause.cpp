#include "jsontemplate/TemplatePause.h"

#include <errno.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {
std::atomic<bool> g_pausesEnabled{true};
}  // namespace

void setTemplatePausesEnabled(bool enabled) {
  g_pausesEnabled.store(enabled, std::memory_order_relaxed);
}

bool templatePausesEnabled() { return g_pausesEnabled.load(std::memory_order_relaxed); }

void templateYield() {
  if (templatePausesEnabled()) usleep(0);
}

void templateSleepMicroseconds(long long microseconds) {
  if (!templatePausesEnabled()) return;
  if (microseconds <= 0) {
    usleep(0);
    return;
  }
  // nanosleep instead of usleep: usleep's argument type cannot hold every count.
  struct timespec delay;
  delay.tv_sec = static_cast<time_t>(microseconds / 1000000);
  delay.tv_nsec = static_cast<long>((microseconds % 1000000) * 1000);
  while (nanosleep(&delay, &delay) != 0 && errno == EINTR) {
  }
}
