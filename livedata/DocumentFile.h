// One JSON document of the web UI, rewritten whole in every cycle.
//
// open() opens the file for writing (created when missing, 0666 less the umask,
// but not truncated) and gives it its directory's owner; the text is then
// collected in a buffer that keeps its capacity from cycle to cycle, and close()
// writes the whole text over the old one with one write, cuts the file to the
// text's length, flushes it to storage with fsync and closes it. Readers find
// the previous text until close() and never an empty file (except a new one
// before its first close); only in a cycle whose text is shorter than the last
// one can a read between the write and the cut see the old text's tail after
// the new text.
//
// A path that cannot be opened, or that names something other than a regular
// file (a FIFO, a device, a directory), is skipped: open() returns false and
// nothing else happens; opening never blocks. A failed or short write or a
// failed fsync leaves standard error and the document alone; it is reported on
// the runtime log channel once when the document starts failing and once when a
// later close() succeeds again.
//
// Thread-safety: one object per updater thread.
#ifndef LIVEDATA_DOCUMENTFILE_H_
#define LIVEDATA_DOCUMENTFILE_H_

#include <stddef.h>
#include <sys/types.h>

#include <string>

#include "platform/datamap.h"

class DocumentFile {
 public:
  explicit DocumentFile(size_t expectedSize = 4096);
  ~DocumentFile();
  DocumentFile(const DocumentFile&) = delete;
  DocumentFile& operator=(const DocumentFile&) = delete;

  // Opens path for this cycle; false (and nothing written) when it cannot or
  // when path is not a regular file.
  bool open(const char* path);
  // open() without giving the file its directory's owner, for a document that
  // sets its owner and mode itself.
  bool openKeepingOwner(const char* path);
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

  // Writes the collected text over the file's in one write, cuts the file to
  // its length, fsyncs and closes. Does nothing when not open.
  void close();

  // True from a failed write or fsync until the next close() that succeeds.
  bool isFailing() const { return failing_; }

  // Text collected since open() (for tests and benchmarks).
  const std::string& text() const { return text_; }

 private:
  // The write, the cut and fsync. Null when all succeeded, otherwise the name
  // of the step that failed (errno set).
  const char* replaceContents();
  // Logs the start and the end of a run of failed closes.
  void noteOutcome(const char* failedStep, int error);

  int fd_ = -1;
  off_t openedSize_ = 0;  // the file's length at open()
  bool failing_ = false;
  std::string path_;  // path of the open document, for the log lines
  std::string text_;
  std::string designation_;  // escaped designation, reused every cycle
};

#endif  // LIVEDATA_DOCUMENTFILE_H_
