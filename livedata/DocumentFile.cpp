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

// Readable by the web server, written by the daemon only (less the umask).
constexpr mode_t kDocumentMode = 0644;

// Short name of an errno value for a log line ("ENOSPC"), or "" when unknown.
const char* errorName(int error) {
  const char* name = strerrorname_np(error);
  return name != nullptr ? name : "";
}

}  // namespace

// A document left open (its cycle did not finish) keeps its previous text: the
// temporary is removed.
DocumentFile::~DocumentFile() = default;

bool DocumentFile::open(const char* path) {
  if (!openKeepingOwner(path)) return false;
  // As chown_to_parent_dir would, but on the descriptor: failures are ignored.
  replacement_.giveDirectoryOwner().ignore();
  return true;
}

bool DocumentFile::openKeepingOwner(const char* path) {
  if (replacement_.isOpen()) close();
  text_.clear();
  // 0644 under the daemon's umask (022).
  if (!replacement_.begin(path, kDocumentMode).ok()) return false;
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

void DocumentFile::appendFixed(double value, int precision) {
  TextFormatter::appendFixed(text_, value, precision);
}

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
  if (!replacement_.isOpen()) return;
  base::Status outcome = replacement_.write(text_.data(), text_.size());
  if (outcome.ok()) {
    outcome = replacement_.commit();
  } else {
    replacement_.discard();
  }
  noteOutcome(outcome);
}

void DocumentFile::noteOutcome(const base::Status& outcome) {
  // The directory went away between the temporary's creation and the rename:
  // the cycle is skipped silently, as when the directory cannot be opened.
  if (!outcome.ok() && outcome.errnum() == ENOENT) return;
  if (!outcome.ok() && !failing_) {
    failing_ = true;
    runtime_log("DocumentFile %s failed, error=%d %s, previous document kept: %s\n",
                outcome.step().c_str(), outcome.errnum(), errorName(outcome.errnum()),
                path_.c_str());
  } else if (outcome.ok() && failing_) {
    failing_ = false;
    runtime_log("DocumentFile written again: %s\n", path_.c_str());
  }
}
