// One JSON document of the web UI, replaced whole in every cycle.
//
// open() starts the replacement: it finds the document's directory (kept open
// from the last cycle while the path still leads to it) and creates a
// temporary file beside the document (base::ReplacementFile), mode 0644
// less the umask, given the directory's owner and group through the
// descriptor. The text is
// collected in a buffer that keeps its capacity from cycle to cycle; close()
// writes it to the temporary in one write, flushes it with fsync and renames it
// over the document. Readers find the previous document until the rename and
// the new one after it, always whole; the document is never written in place,
// so nothing a reader holds open ever changes under it.
//
// A document whose directory is missing or cannot be written is skipped:
// open() returns false and nothing else happens. So is a name that holds a
// directory, a FIFO, a device or a socket (left as it is; opening never
// blocks). A symbolic link at the name is replaced by the document; its target
// is never opened. A failed write, fsync or rename leaves standard error and
// the previous document alone (the temporary is removed); it is reported on
// the runtime log channel once when the document starts failing and once when
// a later close() succeeds again.
//
// Thread-safety: one object per updater thread.
#ifndef LIVEDATA_DOCUMENTFILE_H_
#define LIVEDATA_DOCUMENTFILE_H_

#include <stddef.h>
#include <sys/types.h>

#include <string>

#include "base/ReplacementFile.h"
#include "platform/datamap.h"

class DocumentFile {
 public:
  explicit DocumentFile(size_t expectedSize = 4096);
  ~DocumentFile();
  DocumentFile(const DocumentFile&) = delete;
  DocumentFile& operator=(const DocumentFile&) = delete;

  // Starts replacing path for this cycle; false (and nothing written) when it
  // cannot (see above).
  bool open(const char* path);
  // open() without giving the file its directory's owner, for a document that
  // sets its owner and mode itself through fd().
  bool openKeepingOwner(const char* path);
  bool isOpen() const { return replacement_.isOpen(); }
  // The new document's descriptor while open (for fchmod and fchown).
  int fd() const { return replacement_.fd(); }

  void printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void append(const char* text);
  void append(const char* text, size_t length);
  // value as printf's "%.<precision>f" writes it (TextFormatter::appendFixed).
  void appendFixed(double value, int precision);
  // A timestamp in the layout of timestamp_print_out_format.
  void timestamp(const ZUL_TIMESTAMP_8B_STRUCT& ts);

  // The frame every updater document shares. Start: "{" and the version 0.1.6.
  void appendFrameStart();
  // End: the designation (JSON-escaped), the meter's clock and its power-on time,
  // and the closing brace.
  void appendFrameEnd(const char* designation, const ZUL_TIMESTAMP_8B_STRUCT& dateTime,
                      const ZUL_TIMESTAMP_8B_STRUCT& powerOnTime);

  // Writes the collected text to the new document, fsyncs it and renames it
  // over the old one. Does nothing when not open.
  void close();

  // True from a failed write or fsync until the next close() that succeeds.
  bool isFailing() const { return failing_; }

  // Text collected since open() (for tests and benchmarks).
  const std::string& text() const { return text_; }

 private:
  // Logs the start and the end of a run of failed closes.
  void noteOutcome(const base::Status& outcome);

  base::ReplacementFile replacement_;
  bool failing_ = false;
  std::string path_;  // path of the open document, for the log lines
  std::string text_;
  std::string designation_;  // escaped designation, reused every cycle
};

#endif  // LIVEDATA_DOCUMENTFILE_H_
