// The runtime log for one test: ZUL_LOG_FILE set to a file of the test, a log
// channel opened under the program's name and made the runtime log channel;
// the destructor puts the previous channel back, closes this one and unsets
// ZUL_LOG_FILE.
//
// Thread-safety: one scope at a time (it sets the process's environment and
// its runtime log channel).
#ifndef TESTS_SUPPORT_RUNTIMELOGSCOPE_H_
#define TESTS_SUPPORT_RUNTIMELOGSCOPE_H_

#include <string>

#include "platform/common_api.h"

namespace testsupport {

class RuntimeLogScope {
 public:
  // path: the log file; name: the program name that starts each line.
  RuntimeLogScope(const std::string& path, const char* name);
  ~RuntimeLogScope();
  RuntimeLogScope(const RuntimeLogScope&) = delete;
  RuntimeLogScope& operator=(const RuntimeLogScope&) = delete;

  // What the log holds so far ("" before its first line).
  std::string text() const;

 private:
  std::string path_;
  ZUL_LOG_CHANNEL channel_ = {};
  ZUL_LOG_CHANNEL* previous_;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_RUNTIMELOGSCOPE_H_
