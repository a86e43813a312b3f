#include "LimitSelection.h"

#include <stdlib.h>

#include "base/InputFile.h"
#include "hoststore/CatalogParser.h"
#include "hoststore/LogItemCatalog.h"

base::Status LimitSelection::fromCatalogText(const std::string& text, const std::string& origin,
                                             std::vector<MeterBlocks::Limit>* limits) {
  limits->clear();
  dmhost::LogItemCatalog catalog;
  base::Status parsed = catalog.parse(text, origin);
  if (!parsed.ok()) return parsed;
  for (const dmhost::LogItemCatalog::Item& item : catalog.items()) {
    if (static_cast<int>(limits->size()) == kEnabledLimits) break;
    if (!limits->empty() && limits->back().id == item.id) continue;
    limits->push_back({item.id, item.subId, item.name});
  }
  return base::Status::Ok();
}

std::vector<MeterBlocks::Limit> LimitSelection::fallback() {
  std::vector<MeterBlocks::Limit> limits;
  for (int i = 1; i <= kEnabledLimits; ++i)
    limits.push_back({static_cast<uint16_t>(i), 1, "Limit " + std::to_string(i)});
  return limits;
}

std::vector<MeterBlocks::Limit> LimitSelection::choose(const std::string& path, std::string* note) {
  std::string file = path;
  if (file.empty() && getenv("LOG_ITEM_CATALOG") && *getenv("LOG_ITEM_CATALOG"))
    file = getenv("LOG_ITEM_CATALOG");
  std::string text, origin = "built-in log item catalogue";
  if (file.empty()) {
    text = dmhost::kEmbeddedLogItemCatalog;
  } else {
    std::string reason;
    origin = file;
    base::Status status = base::InputFile::read(file.c_str(), dmhost::kMaxCatalogBytes, &text);
    if (!status.ok()) {
      reason = base::InputFile::describe(status);
      *note = "cannot read log item catalogue " + reason + "; limits use items 1.." +
              std::to_string(kEnabledLimits);
      return fallback();
    }
  }
  std::vector<MeterBlocks::Limit> limits;
  base::Status parsed = fromCatalogText(text, origin, &limits);
  if (limits.empty()) {
    *note = (parsed.ok() ? origin + " names no items" : parsed.message()) +
            "; limits use items 1.." + std::to_string(kEnabledLimits);
    return fallback();
  }
  return limits;
}
