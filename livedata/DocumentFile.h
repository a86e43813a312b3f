// One JSON document of the web UI, rewritten whole in every cycle.
//
// open() opens the file as fopen's "w+" would (created or truncated, 0666 less the
// umask) and gives it its directory's owner; the text is then collected in a
// buffer that keeps its capacity from cycle to cycle, and close() writes it,
// flushes it to storage with fsync and closes the file. A file that cannot be
// opened is skipped: open() returns false and nothing else happens.
//
// Thread-safety: one object per updater thread.
#ifndef LIVEDATA_DOCUMENTFILE_H_
#define LIVEDATA_DOCUMENTFILE_H_

#include <stddef.h>

#include <string>

#include "platform/datamap.h"

class DocumentFile {
 public:
  explicit DocumentFile(size_t expectedSize = 4096);
  ~DocumentFile();
  DocumentFile(const DocumentFile&) = delete;
  DocumentFile& operator=(const DocumentFile&) = delete;

  // Opens path for this cycle; false (and nothing written) when it cannot.
  bool open(const char* path);
  bool isOpen() const { return fd_ >= 0; }
  int fd() const { return fd_; }

  void printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void append(const char* text);
  void append(const char* text, size_t length);
  // A timestamp in the layout of timestamp_print_out_format.
  void timestamp(const ZUL_TIMESTAMP_8B_STRUCT& ts);

  // The frame every updater document shares. Start: "{" and the version 0.1.6.
  void appendFrameStart();
  // End: the designation (JSON-escaped), the meter's clock and its power-on time,
  // and the closing brace.
  void appendFrameEnd(const char* designation, const ZUL_TIMESTAMP_8B_STRUCT& dateTime,
                      const ZUL_TIMESTAMP_8B_STRUCT& powerOnTime);

  // Writes the collected text, fsyncs and closes. Does nothing when not open.
  void close();

  // Text collected since open() (for tests and benchmarks).
  const std::string& text() const { return text_; }

 private:
  int fd_ = -1;
  std::string text_;
  std::string designation_;  // escaped designation, reused every cycle
};

#endif  // LIVEDATA_DOCUMENTFILE_H_
