#include "livedata/DocumentFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "livedata/Globals.h"
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

DocumentFile::~DocumentFile() {
  if (fd_ >= 0) ::close(fd_);
}

bool DocumentFile::open(const char* path) {
  if (fd_ >= 0) close();
  text_.clear();
  fd_ = ::open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd_ < 0) return false;
  chown_to_parent_dir(path);
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
  const char* next = text_.data();
  size_t left = text_.size();
  while (left > 0) {
    ssize_t written = ::write(fd_, next, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      break;
    }
    next += written;
    left -= static_cast<size_t>(written);
  }
  fsync(fd_);
  ::close(fd_);
  fd_ = -1;
}
