// A thread that runs one step again and again until it is stopped: the writer
// beside a reader in tests of torn reads. The destructor stops and joins it, so
// a test that ends early (a failed assertion) never leaves it running.
//
// Thread-safety: start, stop and destroy from one thread; the step runs on the
// new thread.
#ifndef TESTS_SUPPORT_REPEATINGTHREAD_H_
#define TESTS_SUPPORT_REPEATINGTHREAD_H_

#include <atomic>
#include <functional>
#include <thread>

namespace testsupport {

class RepeatingThread {
 public:
  // Starts a thread calling step until stop().
  explicit RepeatingThread(std::function<void()> step);
  ~RepeatingThread();  // stop()
  RepeatingThread(const RepeatingThread&) = delete;
  RepeatingThread& operator=(const RepeatingThread&) = delete;

  // Lets the current step finish and joins the thread; a second call does nothing.
  void stop();

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_REPEATINGTHREAD_H_
