// Reads a whole input file (a catalogue, a settings source) without ever
// blocking and without reading more than a stated bound.
//
// The file is opened non-blocking and must be a regular file: a directory, a
// FIFO, a socket or a device is refused before anything is read, and a file
// larger than the bound is refused (also one that grows beyond it while read).
// Errors read "PATH: what is wrong".
//
// Thread-safety: safe from any thread.
#ifndef PLATFORM_HOST_INPUTFILE_H_
#define PLATFORM_HOST_INPUTFILE_H_

#include <stddef.h>

#include <string>

namespace dmhost {

class InputFile {
 public:
  // Largest catalogue accepted by `dmtool create` and meter-sim (16 MiB).
  static constexpr size_t kMaxCatalogBytes = 16u * 1024 * 1024;

  // Replaces *text with the file's bytes; false with *error set on failure.
  static bool read(const std::string& path, size_t maxBytes, std::string* text,
                   std::string* error);
};

}  // namespace dmhost

#endif  // PLATFORM_HOST_INPUTFILE_H_
