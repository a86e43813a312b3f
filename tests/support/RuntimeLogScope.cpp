#include "tests/support/RuntimeLogScope.h"

#include <stdlib.h>

#include "livedata/RuntimeLog.h"
#include "tests/support/TempDir.h"

namespace testsupport {

RuntimeLogScope::RuntimeLogScope(const std::string& path, const char* name)
    : path_(path), previous_(runtime_log_channel()) {
  setenv("ZUL_LOG_FILE", path_.c_str(), 1);
  open_zul_log(&channel_, name, 3, 152);
  set_runtime_log_channel(&channel_);
}

RuntimeLogScope::~RuntimeLogScope() {
  set_runtime_log_channel(previous_);
  close_zul_log(&channel_);
  unsetenv("ZUL_LOG_FILE");
}

std::string RuntimeLogScope::text() const { return readFileOrEmpty(path_); }

}  // namespace testsupport
