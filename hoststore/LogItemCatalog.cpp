#include "hoststore/LogItemCatalog.h"

#include <algorithm>
#include <tuple>

#include "base/TextLines.h"

namespace dmhost {

namespace {

// Parses a decimal number of at most max at text[*pos], advancing *pos.
bool parseDecimal(const std::string& text, size_t* pos, unsigned long max, unsigned long* value) {
  size_t i = *pos;
  unsigned long v = 0;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
    v = v * 10 + static_cast<unsigned long>(text[i] - '0');
    if (v > max) return false;
    ++i;
  }
  if (i == *pos) return false;
  *pos = i;
  *value = v;
  return true;
}

bool lessKey(const LogItemCatalog::Item& a, const LogItemCatalog::Item& b) {
  return std::tie(a.id, a.subId) < std::tie(b.id, b.subId);
}

// Checks one non-comment line and fills *item; fails with what is wrong.
base::Status parseLine(const std::string& line, LogItemCatalog::Item* item) {
  size_t pos = 0;
  unsigned long id = 0;
  unsigned long subId = 0;
  if (!parseDecimal(line, &pos, 65534, &id) || id == 0) {
    return base::Status::Error("", "item id must be a decimal number 1..65534");
  }
  if (pos >= line.size() || line[pos] != ' ') {
    return base::Status::Error("", "expected a blank after the item id");
  }
  ++pos;
  if (!parseDecimal(line, &pos, 255, &subId)) {
    return base::Status::Error("", "sub id must be a decimal number 0..255");
  }
  if (pos >= line.size() || line[pos] != ' ' || pos + 1 >= line.size()) {
    return base::Status::Error("", "expected a blank and a name after the sub id");
  }
  item->id = static_cast<uint16_t>(id);
  item->subId = static_cast<uint8_t>(subId);
  item->name = line.substr(pos + 1);
  if (item->name.size() > LogItemCatalog::kMaxNameLength) {
    return base::Status::Error("", "name longer than 79 bytes");
  }
  if (item->name.find('\0') != std::string::npos) {
    return base::Status::Error("", "name holds a NUL byte");
  }
  return base::Status::Ok();
}

}  // namespace

base::Status LogItemCatalog::parse(const std::string& text, const std::string& origin) {
  items_.clear();
  std::vector<Item> items;
  base::TextLines lines(text);
  std::string line;
  while (lines.next(&line)) {
    if (line.empty() || line[0] == '#') continue;
    Item item;
    base::Status parsed = parseLine(line, &item);
    if (!parsed.ok()) {
      return base::Status::Error(
          "", origin + ":" + std::to_string(lines.number()) + ": " + parsed.message());
    }
    auto at = std::lower_bound(items.begin(), items.end(), item, lessKey);
    if (at != items.end() && !lessKey(item, *at)) {
      return base::Status::Error("", origin + ":" + std::to_string(lines.number()) + ": item " +
                                         std::to_string(item.id) + " " +
                                         std::to_string(item.subId) + " listed twice");
    }
    items.insert(at, std::move(item));
  }
  items_ = std::move(items);
  return base::Status::Ok();
}

const LogItemCatalog::Item* LogItemCatalog::find(uint16_t id, uint8_t subId) const {
  Item key;
  key.id = id;
  key.subId = subId;
  auto at = std::lower_bound(items_.begin(), items_.end(), key, lessKey);
  if (at == items_.end() || lessKey(key, *at)) return nullptr;
  return &*at;
}

}  // namespace dmhost
