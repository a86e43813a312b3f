// The program's platform log channel. The runtime configuration opens it and
// registers it here; the updater base, the LED thread and the template engine
// write their error lines to it.
//
// Thread-safety: set the channel before threads start; runtime_log may then be
// called from any thread.
#ifndef LIVEDATA_RUNTIMELOG_H_
#define LIVEDATA_RUNTIMELOG_H_

#include "platform/common_api.h"

// Severity of every line this program logs.
constexpr int kRuntimeLogSeverity = 3;

void set_runtime_log_channel(ZUL_LOG_CHANNEL* channel);
ZUL_LOG_CHANNEL* runtime_log_channel();

// Formats into a 256-byte buffer and writes it to the channel with severity 3.
// Does nothing while no channel is registered.
void runtime_log(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif  // LIVEDATA_RUNTIMELOG_H_
