// A private temporary directory for one test, removed with everything in it when
// the object goes. Also small file helpers used throughout the tests.
#ifndef TESTS_SUPPORT_TEMPDIR_H_
#define TESTS_SUPPORT_TEMPDIR_H_

#include <chrono>
#include <functional>
#include <string>

namespace testsupport {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + relative
  std::string file(const std::string& relative) const;

 private:
  std::string path_;
};

std::string readFile(const std::string& path);
bool readFileIfExists(const std::string& path, std::string* text);
// The file's text, or "" when it does not exist (yet): for logs written on demand.
std::string readFileOrEmpty(const std::string& path);
// Writes text, creating missing parent directories.
void writeFile(const std::string& path, const std::string& text);
bool fileExists(const std::string& path);
void makeDirs(const std::string& path);
void removeTree(const std::string& path);

// Polls condition every 10 ms until it holds or the deadline passes.
bool waitFor(const std::function<bool()>& condition,
             std::chrono::milliseconds deadline = std::chrono::seconds(10));

// Path of an installed program in the staged install, e.g. "sbin/livedata_update".
std::string stagedProgram(const std::string& relative);
// Path below the source tree, e.g. "data/meter.catalog".
std::string sourcePath(const std::string& relative);

}  // namespace testsupport

#endif  // TESTS_SUPPORT_TEMPDIR_H_
