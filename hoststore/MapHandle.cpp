#include "hoststore/MapHandle.h"

#include <sys/stat.h>
#include <time.h>

namespace dmhost {

namespace {

// A coarse clock is enough for pacing and costs no system call. Wraps.
uint32_t coarseNowMs() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<uint32_t>(now.tv_sec) * 1000u + static_cast<uint32_t>(now.tv_nsec / 1000000);
}

}  // namespace

MapHandle::~MapHandle() { delete current_.load(std::memory_order_relaxed); }

base::Status MapHandle::open(const std::string& path) {
  std::unique_ptr<MappedMap> map(new MappedMap);
  base::Status opened = map->open(path, MappedMap::kReadWriteOrPrivate);
  if (!opened.ok()) return opened;
  path_ = path;
  lastAttemptMs_.store(coarseNowMs() - kRetryMs, std::memory_order_relaxed);
  window_.show(*map);
  current_.store(map.release(), std::memory_order_release);
  return base::Status::Ok();
}

unsigned char* MapHandle::block(int number) {
  const MappedMap* map = current();
  return window_.isOpen() ? window_.block(number) : map->view().block(number);
}

const MappedMap* MapHandle::follow(MappedMap* seen) {
  uint32_t nowMs = coarseNowMs();
  if (nowMs - lastAttemptMs_.load(std::memory_order_relaxed) < kRetryMs) return seen;
  std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock()) return seen;  // another thread is following right now
  MappedMap* latest = current_.load(std::memory_order_acquire);
  if (latest != seen && !latest->outdated()) return latest;
  lastAttemptMs_.store(nowMs, std::memory_order_relaxed);
  std::unique_ptr<MappedMap> fresh = openReplacement(*latest);
  if (!fresh || !makeRoom(nowMs)) return latest;
  fresh->view().inheritStaleMarks(latest->view());
  if (window_.isOpen()) window_.show(*fresh);
  retired_.push_back(Retired{std::unique_ptr<MappedMap>(latest), nowMs});
  MappedMap* next = fresh.release();
  current_.store(next, std::memory_order_release);
  return next;
}

// The map now at the path, or null when it is still the same intact file or
// cannot be opened (the old map stays in use; following is tried again later).
std::unique_ptr<MappedMap> MapHandle::openReplacement(const MappedMap& latest) {
  struct stat st;
  if (stat(path_.c_str(), &st) != 0) return nullptr;
  if (latest.sameFile(st.st_dev, st.st_ino) && !latest.broken()) return nullptr;
  std::unique_ptr<MappedMap> fresh(new MappedMap);
  if (!fresh->open(path_, MappedMap::kReadWriteOrPrivate).ok()) return nullptr;
  return fresh;
}

bool MapHandle::makeRoom(uint32_t nowMs) {
  if (retired_.size() < kMaxRetired) return true;
  if (nowMs - retired_.front().sinceMs < kRetireGraceMs) return false;
  retired_.erase(retired_.begin());
  return true;
}

}  // namespace dmhost
