#include "tests/support/StreamCapture.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <iostream>

#include "tests/support/TempDir.h"

namespace testsupport {

StreamCapture::StreamCapture(int fd) : fd_(fd) {
  const char* base = getenv("TMPDIR");
  path_ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/ldu-capture-XXXXXX";
  int file = mkstemp(&path_[0]);
  fflush(stdout);
  fflush(stderr);
  std::cout.flush();
  std::cerr.flush();
  saved_ = dup(fd_);
  dup2(file, fd_);
  close(file);
}

StreamCapture::~StreamCapture() { finish(); }

std::string StreamCapture::finish() {
  if (finished_) return text_;
  finished_ = true;
  fflush(stdout);
  fflush(stderr);
  std::cout.flush();
  std::cerr.flush();
  dup2(saved_, fd_);
  close(saved_);
  readFileIfExists(path_, &text_);
  unlink(path_.c_str());
  return text_;
}

}  // namespace testsupport
