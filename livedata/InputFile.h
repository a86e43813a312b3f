// Opening and reading files that another process may have replaced by anything:
// a FIFO, a device, a directory, or a file of any size. The open never blocks
// (O_NONBLOCK), only regular files are accepted, and their size is bounded, so
// a read always ends and its memory stays bounded.
//
// Thread-safety: plain functions over their arguments; any thread.
#ifndef LIVEDATA_INPUTFILE_H_
#define LIVEDATA_INPUTFILE_H_

#include <stddef.h>

#include <string>

class InputFile {
 public:
  enum Status {
    kOk = 0,
    kCannotOpen,   // open failed; errno tells why
    kNotRegular,   // a FIFO, device, directory or socket
    kTooLarge,     // more than the bound
    kReadError,    // read failed; errno tells why
  };

  // Opens path with flags (O_RDONLY or O_RDWR) and checks that it is a regular
  // file of at most maxSize bytes. On kOk *fd is the descriptor (close-on-exec,
  // blocking mode restored); otherwise *fd is -1 and, for kCannotOpen, errno is
  // open's.
  static Status open(const char* path, int flags, size_t maxSize, int* fd);

  // Reads the whole regular file at path, at most maxSize bytes, into *text
  // (replacing it). A file that grows past maxSize while it is read is kTooLarge.
  static Status read(const char* path, size_t maxSize, std::string* text);

  // Why a status other than kOk refused the file, e.g. "not a regular file" or
  // "larger than 1048576 bytes".
  static std::string describe(Status status, size_t maxSize);
};

#endif  // LIVEDATA_INPUTFILE_H_
