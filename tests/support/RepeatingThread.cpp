#include "tests/support/RepeatingThread.h"

#include <utility>

namespace testsupport {

RepeatingThread::RepeatingThread(std::function<void()> step)
    : thread_([this, step = std::move(step)] {
        while (!stop_.load()) step();
      }) {}

RepeatingThread::~RepeatingThread() { stop(); }

void RepeatingThread::stop() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
}

}  // namespace testsupport
