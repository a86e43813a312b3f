#include "livedata/RuntimeLog.h"

#include <stdarg.h>
#include <stdio.h>

#include <atomic>

namespace {
std::atomic<ZUL_LOG_CHANNEL*> g_channel{nullptr};
}  // namespace

void set_runtime_log_channel(ZUL_LOG_CHANNEL* channel) {
  g_channel.store(channel, std::memory_order_relaxed);
}

ZUL_LOG_CHANNEL* runtime_log_channel() { return g_channel.load(std::memory_order_relaxed); }

void runtime_log(const char* format, ...) {
  ZUL_LOG_CHANNEL* channel = runtime_log_channel();
  if (channel == nullptr) return;
  char text[256];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  write_zul_log(channel, kRuntimeLogSeverity, text, 0);
}
