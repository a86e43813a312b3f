// Host implementation of the log exporter calls (platform/logexporter.h).
//
// Log items come from the catalogue embedded at build time
// (data/log_items.catalog), or from the file named by the environment variable
// LOG_ITEM_CATALOG when it is set and non-empty. The variable is read at each
// call; a file is parsed once per path and kept. A file that cannot be read or
// parsed is reported once on standard error and then makes every lookup fail;
// so is a path that names no regular file (opening it never blocks) or a file
// larger than LogItemCatalog::kMaxFileSize.
//
// Thread-safety: the catalogue cache is guarded by a mutex; both calls may run
// on any thread.
#include "platform/logexporter.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include "base/InputFile.h"
#include "base/Status.h"
#include "hoststore/LogItemCatalog.h"

static_assert(sizeof(LIMIT_ALARM_CONFIG_ITEM_INFO) == LIMIT_ALARM_RECORD_SIZE,
              "a limit record is 104 bytes");
static_assert(offsetof(LIMIT_ALARM_CONFIG_ITEM_INFO, label) == LIMIT_ALARM_LABEL_OFFSET,
              "the label starts at byte 24");
static_assert(dmhost::LogItemCatalog::kMaxFileSize == 4194304, "the refusal text names the bound");

namespace {

constexpr int kErrUnknownItem = -2;
constexpr int kErrNoCatalog = -1;

const dmhost::LogItemCatalog& embeddedCatalog() {
  static const dmhost::LogItemCatalog catalog = [] {
    dmhost::LogItemCatalog parsed;
    base::Status status =
        parsed.parse(dmhost::kEmbeddedLogItemCatalog, "embedded log_items.catalog");
    if (!status.ok()) fprintf(stderr, "log item catalogue %s\n", status.message().c_str());
    return parsed;
  }();
  return catalog;
}

// The catalogue of the file last named by LOG_ITEM_CATALOG.
struct FileCatalog {
  std::mutex mutex;
  std::string path;
  bool valid = false;
  dmhost::LogItemCatalog catalog;
};

FileCatalog& fileCatalog() {
  static FileCatalog cache;
  return cache;
}

// Reads the catalogue file whole into *text: a regular file of at most
// kMaxFileSize bytes, opened without blocking or following a symlink. Fails
// with the path as subject and why it was refused as the step.
base::Status readCatalogFile(const std::string& path, std::string* text) {
  base::Status status =
      base::InputFile::read(path.c_str(), dmhost::LogItemCatalog::kMaxFileSize, text);
  switch (base::InputFile::refusal(status)) {
    case base::InputFile::Refusal::kNone: return base::Status::Ok();
    case base::InputFile::Refusal::kNotRegular:
      return base::Status::Error(path, "not a regular file");
    case base::InputFile::Refusal::kTooLarge:
      return base::Status::Error(path, "larger than 4194304 bytes");
    default: return base::Status::Error(path, "cannot read the file");
  }
}

// Loads path into cache (caller holds the mutex); reports a failure once.
void loadFileCatalog(FileCatalog& cache, const std::string& path) {
  cache.path = path;
  cache.valid = false;
  std::string text;
  base::Status status = readCatalogFile(path, &text);
  if (status.ok()) status = cache.catalog.parse(text, path);
  if (!status.ok()) {
    fprintf(stderr, "log item catalogue %s\n", status.message().c_str());
    return;
  }
  cache.valid = true;
}

void fillInfo(const dmhost::LogItemCatalog::Item& item, LOG_ITEM_INFO* info) {
  memset(info, 0, sizeof(*info));
  info->item_id = item.id;
  info->sub_id = item.subId;
  memcpy(info->name, item.name.data(), item.name.size());
}

}  // namespace

int getLogItemInfo_map(unsigned short item_id, unsigned char sub_id, LOG_ITEM_INFO* info) {
  if (info == nullptr) return kErrUnknownItem;
  const char* override = getenv("LOG_ITEM_CATALOG");
  if (override == nullptr || override[0] == '\0') {
    const dmhost::LogItemCatalog::Item* item = embeddedCatalog().find(item_id, sub_id);
    if (item == nullptr) return kErrUnknownItem;
    fillInfo(*item, info);
    return 0;
  }
  FileCatalog& cache = fileCatalog();
  std::lock_guard<std::mutex> lock(cache.mutex);
  if (cache.path != override) loadFileCatalog(cache, override);
  if (!cache.valid) return kErrNoCatalog;
  const dmhost::LogItemCatalog::Item* item = cache.catalog.find(item_id, sub_id);
  if (item == nullptr) return kErrUnknownItem;
  fillInfo(*item, info);
  return 0;
}

int query_limit_alarm_item_info(int i, const char* names, void* record) {
  if (i < 0 || i >= LIMIT_ALARM_COUNT || names == nullptr || record == nullptr) return -1;
  const char* name = names + static_cast<size_t>(LOG_ITEM_NAME_SIZE) * static_cast<size_t>(i);
  size_t length = strnlen(name, LOG_ITEM_NAME_SIZE - 1);
  char* label = static_cast<char*>(record) + LIMIT_ALARM_LABEL_OFFSET;
  memcpy(label, name, length);
  label[length] = '\0';
  return 0;
}
