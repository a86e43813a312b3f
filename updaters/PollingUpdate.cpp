#include "updaters/PollingUpdate.h"

PollingUpdate::PollingUpdate() {}

PollingUpdate::~PollingUpdate() { stop(&ledThreadId_, ledEventFd_); }

void* PollingUpdate::led_process_thread(void* self) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  static_cast<PollingUpdate*>(self)->led_thread();
  return nullptr;
}

int PollingUpdate::led_thread() {
  while (isRunning()) cancellableSleepUs(100000);
  return 0;
}
