// Parses catalogue text: one key per line "KEY TYPE [VALUE]". Blank lines and
// lines whose first non-blank character is '#' are ignored. KEY and TYPE are
// separated by blanks (spaces or tabs); VALUE is the rest of the line after the
// single blank that follows TYPE and may contain blanks. A trailing "\r" is
// dropped (catalogues edited on other systems). Without VALUE (or with an empty
// one) the key starts as zero, the empty text or the all-zero timestamp.
//
// Thread-safety: pure functions.
#ifndef HOSTSTORE_CATALOGPARSER_H_
#define HOSTSTORE_CATALOGPARSER_H_

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "base/Status.h"
#include "hoststore/MapFormat.h"

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
  // Fails with the message "ORIGIN:LINE: what is wrong" at the first bad line.
  static base::Status parse(const std::string& text, const std::string& origin,
                            std::vector<CatalogEntry>* entries);

 private:
  // Fails with what is wrong with the line.
  static base::Status parseLine(const std::string& line, CatalogEntry* entry);
};

}  // namespace dmhost

#endif  // HOSTSTORE_CATALOGPARSER_H_
