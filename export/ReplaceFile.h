// Replaces a file's content atomically: readers of path find either the old
// text or the new one whole, never a cut or empty file.
//
// The text goes to temporaryPath (which must be in the same directory as path),
// created afresh with O_EXCL | O_NOFOLLOW (a file or link left there is removed
// first, never written through), mode 0644 before the umask, written, fsynced,
// then renamed over path. On failure the temporary file is removed and path is
// left as it was.
//
// Thread-safety: safe from any thread for distinct temporary paths. Allocates
// only when it fails (the Status's texts).
#ifndef EXPORT_REPLACEFILE_H_
#define EXPORT_REPLACEFILE_H_

#include <stddef.h>

#include "base/Status.h"

namespace ldexport {

base::Status replaceFile(const char* path, const char* temporaryPath, const char* data,
                         size_t size);

}  // namespace ldexport

#endif  // EXPORT_REPLACEFILE_H_
