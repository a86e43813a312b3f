#include "bench/ShmWebRoot.h"

#include <stdlib.h>

#include <vector>

#include "livedata/JsonDirectory.h"
#include "tests/support/TempDir.h"

ShmWebRoot::ShmWebRoot(const std::string& prefix, benchmark::State& state) {
  std::string pattern = "/dev/shm/" + prefix + "-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr) {
    state.SkipWithError("no tmpfs directory");
    return;
  }
  path_ = name.data();
  jsonDir_ = path_ + kJsonDirectory;
  testsupport::makeDirs(jsonDir_);
  setenv("WEB_ROOT", path_.c_str(), 1);
}

ShmWebRoot::~ShmWebRoot() {
  if (!ok()) return;
  unsetenv("WEB_ROOT");
  testsupport::removeTree(path_);
}
