#include "tests/support/TempDir.h"

#include <dirent.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace testsupport {

TempDir::TempDir() {
  const char* base = getenv("TMPDIR");
  std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                        "/ldu-test-XXXXXX";
  char* made = mkdtemp(&pattern[0]);
  if (made == nullptr) throw std::runtime_error("mkdtemp failed: " + std::string(strerror(errno)));
  path_ = made;
}

TempDir::~TempDir() { removeTree(path_); }

std::string TempDir::file(const std::string& relative) const { return path_ + "/" + relative; }

std::string readFile(const std::string& path) {
  std::string text;
  if (!readFileIfExists(path, &text)) throw std::runtime_error("cannot read " + path);
  return text;
}

std::string readFileOrEmpty(const std::string& path) {
  std::string text;
  readFileIfExists(path, &text);
  return text;
}

bool readFileIfExists(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream all;
  all << in.rdbuf();
  *text = all.str();
  return true;
}

void makeDirs(const std::string& path) {
  for (size_t slash = path.find('/', 1); ; slash = path.find('/', slash + 1)) {
    std::string part = path.substr(0, slash);
    mkdir(part.c_str(), 0777);
    if (slash == std::string::npos) break;
  }
}

void writeFile(const std::string& path, const std::string& text) {
  size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) makeDirs(path.substr(0, slash));
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("cannot write " + path);
  out << text;
}

bool fileExists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

void removeTree(const std::string& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return;
  if (S_ISDIR(info.st_mode)) {
    chmod(path.c_str(), 0700);  // tests make directories unwritable on purpose
    if (DIR* dir = opendir(path.c_str())) {
      while (struct dirent* entry = readdir(dir)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
        removeTree(path + "/" + entry->d_name);
      }
      closedir(dir);
    }
    rmdir(path.c_str());
  } else {
    unlink(path.c_str());
  }
}

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
  auto end = std::chrono::steady_clock::now() + deadline;
  for (;;) {
    if (condition()) return true;
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::string stagedProgram(const std::string& relative) {
  return std::string(LDU_STAGE_DIR) + "/" + relative;
}

std::string sourcePath(const std::string& relative) {
  return std::string(LDU_SOURCE_DIR) + "/" + relative;
}

}  // namespace testsupport
