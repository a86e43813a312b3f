// A private web root on tmpfs (/dev/shm) for a benchmark's documents, so that
// writing them costs no disk: WEB_ROOT points at it while the object lives; it
// is removed with everything in it afterwards.
//
// Thread-safety: one object per program (it sets the process's WEB_ROOT).
#ifndef BENCH_SHMWEBROOT_H_
#define BENCH_SHMWEBROOT_H_

#include <string>

#include <benchmark/benchmark.h>

class ShmWebRoot {
 public:
  // prefix: the start of the directory's name below /dev/shm. When the
  // directory cannot be made, state's benchmark is skipped with an error.
  ShmWebRoot(const std::string& prefix, benchmark::State& state);
  ~ShmWebRoot();
  ShmWebRoot(const ShmWebRoot&) = delete;
  ShmWebRoot& operator=(const ShmWebRoot&) = delete;

  // False when the directory could not be made (then nothing else holds).
  bool ok() const { return !path_.empty(); }
  // The documents' directory inside it (kJsonDirectory), ending in '/'.
  const std::string& jsonDir() const { return jsonDir_; }

 private:
  std::string path_;
  std::string jsonDir_;
};

#endif  // BENCH_SHMWEBROOT_H_
