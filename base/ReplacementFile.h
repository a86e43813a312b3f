// Replaces a file atomically: the new contents go into a temporary file in the
// same directory, which is renamed over the old name once written and flushed.
// A reader opening the name finds the old file or the new one, always whole;
// a process that dies midway leaves the old file in place.
//
// Contract:
//  - begin() finds the directory, looks at what stands at the name without
//    following it, and creates the temporary ".NAME.PID.N" with
//    O_CREAT|O_EXCL|O_NOFOLLOW, mode createMode less the umask (setMode sets
//    an exact mode on the descriptor). It refuses (nothing
//    created) when the directory cannot be opened or written, or when the name
//    holds a directory, a FIFO, a device or a socket (step "not a regular
//    file"); a regular file or a symbolic link at the name is replaced, the
//    link's target is never touched;
//  - the directory's descriptor is kept open from one begin() to the next for
//    the same path, and checked at every begin(): when the directory path no
//    longer leads to the directory held (it was removed, renamed away or
//    replaced by another one), the one now at the path is opened, or begin()
//    fails ("open directory", ENOENT when there is none) and holds nothing. So
//    a replacement always goes into the directory found at the path at its
//    begin(), as if the directory were opened anew; the check costs a stat of
//    the directory path instead of an open and a close. The destructor (and a
//    begin() for another directory) closes it;
//  - the owner and mode are set on the open temporary (fchown, fchmod), never
//    through a path; giveDirectoryOwner() applies the owner and group of the
//    directory held open (as found at begin()), so a link swapped in never
//    redirects it (and makes no call when the temporary already has them:
//    when the process's effective user and group, taken when the directory
//    was opened, are the directory's);
//  - commit() fsyncs, closes and renames the temporary over the name; on any
//    failure (and in discard() and the destructor) the temporary is removed
//    and the old file stays as it was; a failure also lets the directory go;
//  - begin(), write() and commit() make no heap allocation when they succeed,
//    as long as paths fit the fixed buffers (PATH_MAX, NAME_MAX).
//
// Failures are base::Status values: subject the path, step the failing call
// ("open directory", "create", "write", "fsync", "close", "rename", "not a
// regular file", "path too long"), errnum its errno.
//
// Thread-safety: one object per thread; distinct objects are independent.
#ifndef BASE_REPLACEMENTFILE_H_
#define BASE_REPLACEMENTFILE_H_

#include <limits.h>
#include <stddef.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "base/Status.h"

namespace base {

class ReplacementFile {
 public:
  ReplacementFile() = default;
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  // Starts replacing path (see above). A replacement already begun is
  // discarded first.
  Status begin(const char* path, mode_t createMode = 0600);
  bool isOpen() const { return fd_ >= 0; }
  // The temporary's descriptor (-1 when none is open).
  int fd() const { return fd_; }

  // Appends size bytes to the temporary (short writes and EINTR handled).
  Status write(const char* data, size_t size);
  // fchmod of the temporary.
  Status setMode(mode_t mode);
  // fchown of the temporary to the owner and group of its directory.
  Status giveDirectoryOwner();
  // fchown of the temporary; -1 leaves owner or group as it is.
  Status setOwner(uid_t owner, gid_t group);

  // fsync, close and rename over the name. Does nothing (ok) when not open.
  Status commit();
  // Removes the temporary; the old file stays. The directory stays held.
  void discard();

  // One-shot: the whole replacement of path by size bytes of data, with mode,
  // and the directory's owner when ownerFromDirectory.
  static Status replace(const char* path, const char* data, size_t size, mode_t mode,
                        bool ownerFromDirectory);

 private:
  Status failure(const char* step, int errnum) const;
  // Takes path as the one to replace; lets the directory held go when path is
  // another one. Fails ("path too long", "not a regular file") when path does
  // not fit the buffer or ends in a slash.
  Status setPath(const char* path);
  // Makes directoryFd_ the directory that the path leads to now, and takes its
  // owner and group.
  Status holdDirectory();
  Status openDirectory(const char* directory);
  void noteDirectory(const struct stat& status);
  void closeDirectory();

  int directoryFd_ = -1;
  dev_t directoryDevice_ = 0;  // identity of the directory held
  ino_t directoryInode_ = 0;
  int fd_ = -1;
  uid_t directoryOwner_ = 0;
  gid_t directoryGroup_ = 0;
  bool directorySetsGroup_ = false;  // set-group-ID directory
  uid_t effectiveUser_ = 0;          // this process's, taken when the directory is opened
  gid_t effectiveGroup_ = 0;
  char path_[PATH_MAX] = {};
  const char* name_ = path_;  // last component, inside path_
  char temporary_[NAME_MAX + 1] = {};
};

}  // namespace base

#endif  // BASE_REPLACEMENTFILE_H_
