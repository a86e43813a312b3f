// Base of the updaters: one worker thread per object that runs init() once and
// then, every period, getData() and displayData(), sleeping between cycles on the
// object's own eventfd/epoll pair.
//
// The effective period is the interval plus one cycle plus 1 ms; there is no drift
// correction. stop() clears the running flag and cancels and joins the thread; the
// worker accepts cancellation only while it sleeps (the 1 ms pause and the epoll
// wait), so a cycle is never cut in the middle of a read or a document write.
//
// A subclass whose object can be deleted while its thread runs calls stop() in its
// own destructor: when the base destructor runs, the subclass part is gone.
//
// Thread-safety: the running flag is a relaxed atomic shared by the worker(s) and
// the stopping thread; everything else belongs to the worker once run() returns.
#ifndef LIVEDATA_LIVEDATA_H_
#define LIVEDATA_LIVEDATA_H_

#include <pthread.h>
#include <stdint.h>
#include <time.h>

#include <atomic>
#include <string>

#include "livedata/EventWaiter.h"
#include "platform/datamap.h"

class LiveData {
 public:
  LiveData();
  virtual ~LiveData();
  LiveData(const LiveData&) = delete;
  LiveData& operator=(const LiveData&) = delete;

  virtual int init();
  virtual int getData();
  // Returns the document text for the write-through path (empty in the base).
  virtual std::string displayData();

  // Starts start(this) on a new thread stored in *thread; returns pthread_create's result.
  int run(pthread_t* thread, void* (*start)(void*));
  int run();

  // Clears the running flag, writes the wake descriptor (the object's own when
  // thread is the object's thread id, otherwise fd), then cancels and joins the
  // thread unless its id is 0. The id is cleared after the join, so stopping twice
  // is harmless. Returns 0, or pthread_cancel's error.
  int stop(pthread_t* thread, int fd);
  int stop();

  // Writes the value 0 to the eventfd: that leaves it unreadable, so the sleeper
  // is not woken; stopping relies on the cancellation.
  void signalEventFd(int fd);
  void signalEventFd();

  // Sleeps on epfd for at most timeout_ms (negative: without limit); drains the
  // object's eventfd when it woke the wait.
  void waitOnEventFd(int epfd, int timeout_ms);
  void waitOnEventFd();

  void setInterval(int ms) { interval_ = ms; }
  int getInterval() const { return interval_; }
  void setJsonFile(const char* path);
  const char* getJsonFile() const { return jsonFile_; }

  void setLastUpdateTime();
  const struct timespec* getLastUpdateTime() const { return &lastUpdateTime_; }
  // 1 when ms have passed since the last update time (or the clock went back).
  int checkLastUpdateTime(int ms);
  int checkLastUpdateTime();

  // Replaces the JSON file by text (see base/ReplacementFile.h); failures are
  // not reported. Returns 0.
  int updateDataFile(const std::string& text);

  // A timestamp in the month-first layout ("MM/DD/CCYY hh:mm:ss").
  std::string getTimeStampString(ZUL_TIMESTAMP_8B_STRUCT ts);

  // Thread entry of run(): calls update_thread with the write-through flag.
  static void* cmd_process_thread(void* self);
  // The updater cycle; returns 0 when the running flag is cleared.
  int update_thread(bool writeThrough);
  // One cycle: getData, displayData and, with write-through, the document write.
  void runCycle(bool writeThrough);

  bool isRunning() const { return running_.load(std::memory_order_relaxed); }
  // True once the worker has finished its first cycle (its document written
  // or, when it could not be opened, skipped). Any thread.
  bool hasCompletedCycle() const { return cycleCompleted_.load(std::memory_order_acquire); }
  void setWriteThrough(bool on) { writeThrough_ = on; }
  bool getWriteThrough() const { return writeThrough_; }
  pthread_t getThreadId() const { return threadId_; }
  uint32_t getDebugMaskBits() const { return debugMaskBits_; }
  // Value of WEB_ROOT captured at construction ("" when unset); prefix of the
  // output paths that start-up hands to setJsonFile.
  const char* getWebRoot() const { return webRoot_; }

 protected:
  // True when debug output is on for this updater (debug set and debugMask
  // sharing a bit with the updater's own bits).
  bool debugEnabled() const;
  void addDebugMaskBits(uint32_t bits) { debugMaskBits_ |= bits; }
  int epollFd() const { return waiter_.epollFd(); }
  int eventFd() const { return waiter_.eventFd(); }
  const char* meterRoot() const { return meterRoot_; }
  const char* webRoot() const { return webRoot_; }

  // Sleep points of a worker: the only places where it accepts cancellation.
  // (waitOnEventFd is the other one.)
  static void cancellableSleepUs(unsigned int microseconds);

 private:
  char jsonFile_[256] = {};
  pthread_t threadId_ = 0;
  struct timespec lastUpdateTime_ = {0, 0};
  int interval_ = 1000;
  EventWaiter waiter_;
  std::atomic<bool> running_{true};
  std::atomic<bool> cycleCompleted_{false};
  bool writeThrough_ = true;
  uint32_t debugMaskBits_ = 1;
  const char* meterRoot_ = "";
  const char* webRoot_ = "";
};

#endif  // LIVEDATA_LIVEDATA_H_
