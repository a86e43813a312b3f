#include "hoststore/MappingFaultGuard.h"

#include <errno.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>

#include <mutex>

namespace dmhost {

namespace {

enum SlotState { kFree = 0, kClaimed = 1, kLive = 2 };

struct GuardedRange {
  std::atomic<int> state{kFree};
  std::atomic<uintptr_t> start{0};
  std::atomic<size_t> length{0};
  std::atomic<std::atomic<bool>*> broken{nullptr};
};

GuardedRange g_ranges[MappingFaultGuard::kSlots];
struct sigaction g_previous;
std::once_flag g_installed;

// Replaces the range holding address by zero pages; false when none holds it.
bool rescue(uintptr_t address) {
  for (GuardedRange& range : g_ranges) {
    if (range.state.load(std::memory_order_acquire) != kLive) continue;
    uintptr_t start = range.start.load(std::memory_order_relaxed);
    size_t length = range.length.load(std::memory_order_relaxed);
    if (address < start || address - start >= length) continue;
    void* zeros = mmap(reinterpret_cast<void*>(start), length, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
    if (zeros == MAP_FAILED) return false;
    std::atomic<bool>* broken = range.broken.load(std::memory_order_relaxed);
    if (broken != nullptr) broken->store(true, std::memory_order_relaxed);
    return true;
  }
  return false;
}

// Hands a signal that is not ours to the previous handler, or to the default action.
void passOn(int sig, siginfo_t* info, void* context) {
  if ((g_previous.sa_flags & SA_SIGINFO) != 0 && g_previous.sa_sigaction != nullptr) {
    g_previous.sa_sigaction(sig, info, context);
    return;
  }
  if (g_previous.sa_handler != SIG_DFL && g_previous.sa_handler != SIG_IGN &&
      g_previous.sa_handler != nullptr) {
    g_previous.sa_handler(sig);
    return;
  }
  struct sigaction fallback;
  memset(&fallback, 0, sizeof(fallback));
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(sig, &fallback, nullptr);
  // A fault repeats when the handler returns; a sent signal has to be raised again.
  if (info == nullptr || info->si_code <= 0) raise(sig);
}

void onSigbus(int sig, siginfo_t* info, void* context) {
  int savedErrno = errno;
  bool fault = info != nullptr && info->si_code > 0;
  if (!fault || !rescue(reinterpret_cast<uintptr_t>(info->si_addr))) passOn(sig, info, context);
  errno = savedErrno;
}

void install() {
  struct sigaction action;
  memset(&action, 0, sizeof(action));
  action.sa_sigaction = onSigbus;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  memset(&g_previous, 0, sizeof(g_previous));
  sigaction(SIGBUS, &action, &g_previous);
}

}  // namespace

int MappingFaultGuard::add(void* start, size_t length, std::atomic<bool>* broken) {
  std::call_once(g_installed, install);
  for (int i = 0; i < kSlots; ++i) {
    int expected = kFree;
    if (!g_ranges[i].state.compare_exchange_strong(expected, kClaimed, std::memory_order_acq_rel)) {
      continue;
    }
    g_ranges[i].start.store(reinterpret_cast<uintptr_t>(start), std::memory_order_relaxed);
    g_ranges[i].length.store(length, std::memory_order_relaxed);
    g_ranges[i].broken.store(broken, std::memory_order_relaxed);
    g_ranges[i].state.store(kLive, std::memory_order_release);
    return i;
  }
  return -1;
}

void MappingFaultGuard::remove(int slot) {
  if (slot < 0 || slot >= kSlots) return;
  g_ranges[slot].state.store(kClaimed, std::memory_order_release);
  g_ranges[slot].broken.store(nullptr, std::memory_order_relaxed);
  g_ranges[slot].state.store(kFree, std::memory_order_release);
}

}  // namespace dmhost
