// Opening and reading files that another process or user may have replaced by
// anything: a symlink, a FIFO, a device, a directory, or a file of any size.
//
// Contract of open() and read():
//  - the open never blocks (O_NONBLOCK; blocking mode is restored on the
//    descriptor handed out) and never follows a symlink in the last component
//    of the path (O_NOFOLLOW: a symlink there is refused with ELOOP);
//  - only a regular file is accepted, and only one of at most maxSize bytes;
//  - descriptors are close-on-exec and never become a controlling terminal;
//  - reading stops one byte past maxSize, so memory and time stay bounded even
//    when the file grows while it is read.
//
// Failures are base::Status values with the path as subject and one of these
// steps (see refusal()):
//   "open" (errnum: open's errno; ELOOP for a symlink), "read" (errnum),
//   "a directory, not a regular file" (also "a FIFO, ", "a socket, ",
//   "a device, " or nothing before "not a regular file"),
//   "larger than N bytes".
//
// Thread-safety: stateless functions over their arguments; any thread.
#ifndef BASE_INPUTFILE_H_
#define BASE_INPUTFILE_H_

#include <stddef.h>

#include <string>

#include "base/Status.h"

namespace base {

class InputFile {
 public:
  // What a failed Status of open() or read() means.
  enum class Refusal {
    kNone,        // ok
    kCannotOpen,  // open failed; errnum tells why
    kNotRegular,  // a FIFO, device, directory or socket
    kTooLarge,    // more than the bound
    kReadError,   // read failed; errnum tells why
  };

  // Opens path with flags (O_RDONLY or O_RDWR; O_NONBLOCK, O_NOFOLLOW,
  // O_NOCTTY and O_CLOEXEC are added) and checks that it is a regular file of
  // at most maxSize bytes. On success *fd is the descriptor, in blocking mode;
  // otherwise *fd is -1.
  static Status open(const char* path, int flags, size_t maxSize, int* fd);

  // Reads the whole regular file at path, at most maxSize bytes, into *text
  // (replaced; left empty on failure).
  static Status read(const char* path, size_t maxSize, std::string* text);

  // Reads fd (any kind of descriptor, e.g. standard input) to its end into
  // *text (replaced), but never more than maxSize + 1 bytes: a result longer
  // than maxSize tells the caller the input was too large. EINTR is retried.
  // subject names the input in a failed Status ("read", errnum).
  static Status readUpTo(int fd, size_t maxSize, const char* subject, std::string* text);

  // The kind of a Status returned by open() or read().
  static Refusal refusal(const Status& status);

  // The user's line for a failed Status of open(), read() or readUpTo():
  // "SUBJECT: strerror(errnum)" when a call failed, otherwise
  // "SUBJECT: STEP" (e.g. "/x: a FIFO, not a regular file").
  static std::string describe(const Status& status);

  // "larger than N bytes", the step of a kTooLarge refusal.
  static std::string tooLargeStep(size_t maxSize);
};

}  // namespace base

#endif  // BASE_INPUTFILE_H_
