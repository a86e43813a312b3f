// The host's catalogue of the meter's log items: which (item id, sub id) pairs
// exist and their names. The catalogue ships as data/log_items.catalog and is
// embedded into the program (LogItemCatalogData.cpp) so the daemon needs no
// file at run time; the environment variable LOG_ITEM_CATALOG may name another
// catalogue file instead.
//
// Text format, one item per line: "ID SUBID NAME", ID decimal 1..65534, SUBID
// decimal 0..255, NAME the rest of the line after the single blank that follows
// SUBID (1..79 bytes). Blank lines and lines starting with '#' are ignored; each
// pair may appear once.
//
// Thread-safety: a parsed LogItemCatalog is immutable and may be read by any
// number of threads.
#ifndef HOSTSTORE_LOGITEMCATALOG_H_
#define HOSTSTORE_LOGITEMCATALOG_H_

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "base/Status.h"

namespace dmhost {

// Text of data/log_items.catalog as it was when LogItemCatalogData.cpp was
// generated (a test keeps the two equal).
extern const char kEmbeddedLogItemCatalog[];

class LogItemCatalog {
 public:
  struct Item {
    uint16_t id = 0;
    uint8_t subId = 0;
    std::string name;
  };

  // Longest name in bytes (the platform's name field holds it with a terminator).
  static constexpr size_t kMaxNameLength = 79;
  // Largest catalogue file read (LOG_ITEM_CATALOG); a larger one is refused.
  static constexpr size_t kMaxFileSize = 4 * 1024 * 1024;

  // Parses catalogue text. On a bad line fails with the message
  // "ORIGIN:LINE: reason" and leaves the catalogue empty.
  base::Status parse(const std::string& text, const std::string& origin);

  // The item (id, subId), or null when the catalogue has none.
  const Item* find(uint16_t id, uint8_t subId) const;

  const std::vector<Item>& items() const { return items_; }  // sorted by (id, subId)

 private:
  std::vector<Item> items_;
};

}  // namespace dmhost

#endif  // HOSTSTORE_LOGITEMCATALOG_H_
