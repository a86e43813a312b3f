// Placeholder polling updater: the updater cycle and the digital-input sampler
// thread's entry points, without a document yet.
#ifndef UPDATERS_POLLINGUPDATE_H_
#define UPDATERS_POLLINGUPDATE_H_

#include <pthread.h>

#include "livedata/LiveData.h"

class PollingUpdate : public LiveData {
 public:
  PollingUpdate();
  ~PollingUpdate() override;

  // Sampler thread: its id (for run and stop) and its wake descriptor.
  pthread_t* ledThreadId() { return &ledThreadId_; }
  int ledEventFd() const { return ledEventFd_; }
  static void* led_process_thread(void* self);
  int led_thread();

 private:
  pthread_t ledThreadId_ = 0;
  int ledEventFd_ = -1;
};

#endif  // UPDATERS_POLLINGUPDATE_H_
