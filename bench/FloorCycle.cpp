#include "bench/FloorCycle.h"

#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "platform/common_api.h"

FloorCycle::FloorCycle(long long reads) : reads_(reads) {
  mappedBytes_ = static_cast<size_t>(reads > 0 ? reads : 1) * sizeof(uint64_t);
  void* map = mmap(nullptr, mappedBytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (map != MAP_FAILED) words_ = static_cast<volatile const uint64_t*>(map);
}

FloorCycle::~FloorCycle() {
  if (words_ != nullptr) munmap(const_cast<uint64_t*>(words_), mappedBytes_);
}

void FloorCycle::addDocumentLike(const std::string& path, const std::string& floorPath) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  documents_.push_back(Document{floorPath, bytes.str()});
}

void FloorCycle::run() {
  if (words_ != nullptr) {
    uint64_t sum = 0;
    for (long long i = 0; i < reads_; ++i) sum += words_[i];
    sink_ += sum;
  }
  for (const Document& document : documents_) writeDocument(document);
  benchmark::DoNotOptimize(sink_);
}

void FloorCycle::writeDocument(const Document& document) {
  FILE* file = fopen(document.path.c_str(), "w+");
  if (file == nullptr) return;
  chown_to_parent_dir(document.path.c_str());
  fwrite(document.bytes.data(), 1, document.bytes.size(), file);
  fflush(file);
  fsync(fileno(file));
  fclose(file);
}

int64_t FloorCycle::nowNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

void FloorCycle::report(benchmark::State& state, int64_t cycleNs, int64_t floorNs) const {
  const double iterations = static_cast<double>(state.iterations());
  if (iterations <= 0 || floorNs <= 0) return;
  state.counters["floor_us"] = static_cast<double>(floorNs) / iterations / 1000.0;
  state.counters["ratio"] = static_cast<double>(cycleNs) / static_cast<double>(floorNs);
  state.counters["reads"] = static_cast<double>(reads_);
}
