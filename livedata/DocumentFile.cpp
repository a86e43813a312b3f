#include "livedata/DocumentFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"
#include "livedata/TextFormatter.h"
#include "livedata/Timestamp.h"
#include "platform/common_api.h"

namespace {

// The C library's formatting, for formats TextFormatter does not handle.
void appendWithVsnprintf(std::string& text, const char* format, va_list args) {
  char line[512];
  va_list copy;
  va_copy(copy, args);
  int length = vsnprintf(line, sizeof line, format, copy);
  va_end(copy);
  if (length < 0) return;
  if (static_cast<size_t>(length) < sizeof line) {
    text.append(line, static_cast<size_t>(length));
    return;
  }
  // Rare long line: format straight into the buffer's tail.
  size_t start = text.size();
  text.resize(start + static_cast<size_t>(length) + 1);
  va_copy(copy, args);
  vsnprintf(&text[start], static_cast<size_t>(length) + 1, format, copy);
  va_end(copy);
  text.resize(start + static_cast<size_t>(length));
}

}  // namespace

DocumentFile::DocumentFile(size_t expectedSize) {
  text_.reserve(expectedSize);
  designation_.reserve(128);
}

namespace {

// Short name of an errno value for a log line ("ENOSPC"), or "" when unknown.
const char* errorName(int error) {
  const char* name = strerrorname_np(error);
  return name != nullptr ? name : "";
}

}  // namespace

// A document left open (its cycle did not finish) keeps its previous text: the
// file is truncated only by close().
DocumentFile::~DocumentFile() {
  if (fd_ >= 0) ::close(fd_);
}

bool DocumentFile::open(const char* path) {
  if (!openKeepingOwner(path)) return false;
  chown_to_parent_dir(path);
  return true;
}

bool DocumentFile::openKeepingOwner(const char* path) {
  if (fd_ >= 0) close();
  text_.clear();
  // Not truncated: readers keep the previous text while this cycle formats.
  // O_NONBLOCK: a FIFO or device put at the path must not stall the updater.
  int fd = ::open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
  if (fd < 0) return false;
  struct stat status;
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(fd);
    return false;
  }
  fd_ = fd;
  openedSize_ = status.st_size;
  path_.assign(path);
  return true;
}

void DocumentFile::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  if (!TextFormatter::append(text_, format, args)) appendWithVsnprintf(text_, format, args);
  va_end(args);
}

void DocumentFile::append(const char* text) { text_.append(text); }

void DocumentFile::append(const char* text, size_t length) { text_.append(text, length); }

void DocumentFile::timestamp(const ZUL_TIMESTAMP_8B_STRUCT& ts) {
  char text[kTimestampTextSize];
  int length = sprint_out_ZUL_8byte_timestamp(text, &ts, timestamp_print_out_format);
  if (length > 0) text_.append(text, static_cast<size_t>(length));
}

void DocumentFile::appendFrameStart() {
  append("{\n\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":6},\n");
}

void DocumentFile::appendFrameEnd(const char* designation, const ZUL_TIMESTAMP_8B_STRUCT& dateTime,
                                  const ZUL_TIMESTAMP_8B_STRUCT& powerOnTime) {
  strJSON_normalize(designation_, designation);
  append("\"meterDesignation\":\"");
  append(designation_.data(), designation_.size());
  append("\",\n\"dateTime\":\"");
  timestamp(dateTime);
  append("\",\n\"powerOnTime\":\"");
  timestamp(powerOnTime);
  append("\"\n}\n");
}

void DocumentFile::close() {
  if (fd_ < 0) return;
  const char* failedStep = replaceContents();
  int error = errno;
  ::close(fd_);
  fd_ = -1;
  noteOutcome(failedStep, error);
}

// The text goes over the previous one from the start, in one write, and the
// file is then cut to the text's length when it was longer. Readers find the old
// text or the new one, and only in a cycle whose text is shorter, for the moment
// between the write and the cut, the new text followed by the old one's tail.
// The file is never empty. (Cutting to zero first would leave it empty for as
// long as the filesystem takes to free its blocks: about a quarter of a
// millisecond on ext4 after an fsync, a few percent of the reads at 10 ms.)
const char* DocumentFile::replaceContents() {
  size_t done = 0;
  while (done < text_.size()) {
    ssize_t written = ::pwrite(fd_, text_.data() + done, text_.size() - done,
                               static_cast<off_t>(done));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (written == 0) errno = EIO;
      return "write";
    }
    done += static_cast<size_t>(written);
  }
  if (openedSize_ > static_cast<off_t>(text_.size()) &&
      ftruncate(fd_, static_cast<off_t>(text_.size())) != 0) {
    return "ftruncate";
  }
  if (fsync(fd_) != 0) return "fsync";
  return nullptr;
}

void DocumentFile::noteOutcome(const char* failedStep, int error) {
  if (failedStep != nullptr && !failing_) {
    failing_ = true;
    runtime_log("DocumentFile %s failed, error=%d %s, document may be empty or cut: %s\n",
                failedStep, error, errorName(error), path_.c_str());
  } else if (failedStep == nullptr && failing_) {
    failing_ = false;
    runtime_log("DocumentFile written again: %s\n", path_.c_str());
  }
}
