// Parses catalogue text: one key per line "KEY TYPE [VALUE]". Blank lines and
// lines whose first non-blank character is '#' are ignored. KEY and TYPE are
// separated by blanks (spaces or tabs); VALUE is the rest of the line after the
// single blank that follows TYPE and may contain blanks. A trailing "\r" is
// dropped (catalogues edited on other systems). Without VALUE (or with an empty
// one) the key starts as zero, the empty text or the all-zero timestamp.
//
// Thread-safety: pure functions.
#ifndef PLATFORM_HOST_CATALOGPARSER_H_
#define PLATFORM_HOST_CATALOGPARSER_H_

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "platform/host/MapFormat.h"

namespace dmhost {

// Largest catalogue file accepted by `dmtool create` and meter-sim (16 MiB).
constexpr size_t kMaxCatalogBytes = 16u * 1024 * 1024;

struct CatalogEntry {
  std::string key;
  uint32_t type = 0;
  unsigned char value[kValueCapacity] = {};  // encoded initial value
};

class CatalogParser {
 public:
  // False with *error = "ORIGIN:LINE: what is wrong" at the first bad line.
  static bool parse(const std::string& text, const std::string& origin,
                    std::vector<CatalogEntry>* entries, std::string* error);

 private:
  static bool parseLine(const std::string& line, CatalogEntry* entry, std::string* what);
};

}  // namespace dmhost

#endif  // PLATFORM_HOST_CATALOGPARSER_H_
