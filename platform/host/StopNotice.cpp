#include "platform/host/StopNotice.h"

#include <errno.h>
#include <signal.h>
#include <string.h>

#include <atomic>

#include "platform/host/NotifySocket.h"

namespace dmhost {

namespace {

NotifySocket stopSocket;
std::atomic<bool> stopSocketReady{false};
std::atomic<bool> stoppingSent{false};

const int kEndingSignals[] = {SIGTERM, SIGINT};

}  // namespace

int StopNotice::install() {
  if (!stopSocketReady.load(std::memory_order_acquire)) {
    int resolved = stopSocket.resolve();
    if (resolved != 0) return resolved;
    stopSocketReady.store(true, std::memory_order_release);
  }
  struct sigaction action;
  memset(&action, 0, sizeof(action));
  action.sa_handler = &StopNotice::onSignal;
  sigemptyset(&action.sa_mask);
  for (int signal : kEndingSignals) sigaddset(&action.sa_mask, signal);
  for (int signal : kEndingSignals) {
    if (sigaction(signal, &action, nullptr) != 0) return -1;
  }
  return 0;
}

int StopNotice::sendOnce() {
  if (!stopSocketReady.load(std::memory_order_acquire)) {
    NotifySocket socket;
    int resolved = socket.resolve();
    if (resolved != 0) return resolved;
    if (stoppingSent.exchange(true)) return 1;
    return socket.send("STOPPING=1");
  }
  if (stoppingSent.exchange(true)) return 1;
  return stopSocket.send("STOPPING=1");
}

void StopNotice::onSignal(int signal) {
  int savedErrno = errno;
  if (!stoppingSent.exchange(true)) (void)stopSocket.send("STOPPING=1");
  struct sigaction fallback;
  memset(&fallback, 0, sizeof(fallback));
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(signal, &fallback, nullptr);
  // Blocked while this handler runs: delivered, with the default action, as
  // soon as it returns.
  raise(signal);
  errno = savedErrno;
}

}  // namespace dmhost
