// Opens a directory where a privileged process may create files, such that no
// other local user can redirect what is created there.
//
// open() walks the path one component at a time from "/" (or from the working
// directory for a relative path) with openat(O_DIRECTORY|O_NOFOLLOW), so no
// symbolic link is followed anywhere on the path, and checks each directory it
// holds open (fstat), the first one included: it must belong to root or to the
// process's effective user, and must not be writable by group or others unless
// its sticky bit is set. With createMissing, a missing component is created
// (mode 0755, less the umask) inside a directory that passed these checks, and
// is checked like any other once it exists.
//
// Failures are base::Status values with the offending directory as subject:
//   "is a symbolic link or not a directory" (errnum ELOOP or ENOTDIR),
//   "is writable by other users", "belongs to another user",
//   "open" / "create" / "fstat" with the call's errno.
//
// Thread-safety: stateless; any thread.
#ifndef BASE_TRUSTEDDIRECTORY_H_
#define BASE_TRUSTEDDIRECTORY_H_

#include <sys/stat.h>

#include <string>

#include "base/Status.h"

namespace base {

class TrustedDirectory {
 public:
  // Opens directory (see above); on success *fd is an O_RDONLY|O_DIRECTORY
  // close-on-exec descriptor, otherwise -1.
  static Status open(const std::string& directory, bool createMissing, int* fd);

  // True for a failed Status that refuses a directory (a link, another
  // user's, writable by others), false for a failed call (a missing parent
  // that could not be created, a permission error).
  static bool isRefusal(const Status& status);

  // Why a directory with this status would be refused; ok when trusted.
  static Status check(const std::string& name, const struct stat& status);
};

}  // namespace base

#endif  // BASE_TRUSTEDDIRECTORY_H_
