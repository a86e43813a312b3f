/* Test-only helper for running PowerPC programs under qemu-ppc (user mode),
 * preloaded by scripts/ppc-emulate. Never part of the meter's build. It makes
 * up for three places where qemu-ppc 7.2 (Debian 12) differs from a real
 * 32-bit PowerPC running Linux.
 *
 * 1. Thread cancellation. When a thread is cancelled while blocked in a system call, glibc acts
 * on the cancel signal inside its handler and unwinds the thread through the
 * signal frame. On a real PowerPC kernel the unwinder finds that frame's
 * description in the kernel's vDSO. qemu-ppc 7.2 (Debian 12) has no vDSO for
 * this target, so libgcc falls back to its hand-written signal frame reader,
 * which aborts (SIGABRT) on 32-bit PowerPC. Cancellation at an explicit
 * pthread_testcancel, outside any signal handler, unwinds fine.
 *
 * So the blocking calls the program uses as cancellation points (epoll_wait,
 * usleep) are replaced by the same call made as a plain system call in slices
 * of at most 10 ms, with pthread_testcancel before each slice and after it:
 * the thread is still cancelled at exactly these calls and only there (not
 * while cancellation is disabled), at most one slice late.
 *
 * 2. mffs variants. glibc's libm (sin, cos, sincos...) changes the rounding
 * mode with the ISA 3.0 instructions mffscrn/mffscrni/mffsl, relying on older
 * processors executing them as a plain mffs (their extra field was reserved)
 * and then setting the rounding mode itself. QEMU raises SIGILL for them on
 * every 32-bit CPU model. A SIGILL handler performs the mffs and steps over.
 *
 * 3. The root directory. "-L PREFIX" (where the target's loader and libraries
 * are) makes QEMU open PREFIX/NAME for every absolute NAME that exists there,
 * and "/" always does: open("/") gives the library prefix, so a walk from the
 * root one directory at a time (base::TrustedDirectory) ends up inside it and
 * even creates directories there. An open of exactly "/" is made on
 * /proc/self/root instead, which the prefix has not and which leads to the
 * real root (following that one link is the point, so O_NOFOLLOW is dropped
 * for it; O_DIRECTORY still refuses anything but a directory).
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/ucontext.h>
#include <time.h>
#include <unistd.h>

enum { kSliceMs = 10 };

/* mffs is X-form opcode 63/583 with a zero field in bits 11-15; ISA 3.0
 * gave that field meaning (mffsce 1, mffscdrn 20, mffscdrni 21, mffscrn 22,
 * mffscrni 23, mffsl 24). */
static int is_mffs_variant(unsigned int insn) {
  if ((insn >> 26) != 63 || ((insn >> 1) & 0x3ff) != 583) return 0;
  unsigned int field = (insn >> 16) & 0x1f;
  return field == 1 || (field >= 20 && field <= 24);
}

static struct sigaction previous_sigill;

static void on_sigill(int sig, siginfo_t* info, void* context) {
  ucontext_t* uc = context;
  mcontext_t* mc = uc->uc_mcontext.uc_regs;
  unsigned int* pc = (unsigned int*)mc->gregs[PT_NIP];
  if (is_mffs_variant(*pc)) {
    mc->fpregs.fpregs[(*pc >> 21) & 0x1f] = mc->fpregs.fpscr;  /* FRT <- FPSCR */
    mc->gregs[PT_NIP] += 4;
    return;
  }
  /* A real illegal instruction: behave as if we were not here. */
  sigaction(SIGILL, &previous_sigill, NULL);
  (void)sig;
  (void)info;
}

__attribute__((constructor)) static void start_shim(void) {
  /* Children (a shell, QEMU) must not inherit a preload built for this target. */
  unsetenv("LD_PRELOAD");
  struct sigaction action;
  memset(&action, 0, sizeof action);
  action.sa_sigaction = on_sigill;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  sigaction(SIGILL, &action, &previous_sigill);
}

static long long now_us(void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (long long)ts.tv_sec * 1000000 + ts.tv_nsec / 1000;
}

static long long now_ms(void) { return now_us() / 1000; }

int epoll_wait(int epfd, struct epoll_event* events, int maxevents, int timeout) {
  long long deadline = timeout < 0 ? 0 : now_ms() + timeout;
  for (;;) {
    pthread_testcancel();
    int slice = kSliceMs;
    if (timeout >= 0) {
      long long left = deadline - now_ms();
      if (left < 0) left = 0;
      if (left < slice) slice = (int)left;
    }
    long n = syscall(SYS_epoll_wait, epfd, events, maxevents, slice);
    pthread_testcancel();
    if (n != 0) return (int)n;
    if (timeout >= 0 && now_ms() >= deadline) return 0;
  }
}

int usleep(useconds_t usec) {
  long long deadline = now_us() + usec;
  for (;;) {
    pthread_testcancel();
    long long left = deadline - now_us();
    if (left <= 0) return 0;
    if (left > kSliceMs * 1000) left = kSliceMs * 1000;
    struct timespec ts = {0, (long)left * 1000};
    long r = syscall(SYS_nanosleep, &ts, NULL);
    pthread_testcancel();
    if (r != 0) return -1; /* interrupted by a signal handler, as usleep */
  }
}

/* The mode argument is only there with O_CREAT or O_TMPFILE. */
static mode_t mode_argument(int flags, va_list args) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, mode_t) : 0;
}

static int is_root(const char* path) { return path != NULL && strcmp(path, "/") == 0; }

static int open_real_root(int flags) {
  return (int)syscall(SYS_openat, AT_FDCWD, "/proc/self/root", (flags & ~O_NOFOLLOW) | O_LARGEFILE);
}

typedef int (*openat_function)(int, const char*, int, ...);

/* An open of exactly "/" reaches the real root; any other goes to the C
 * library's function named real. */
static int open_at(const char* real, int dirfd, const char* path, int flags, mode_t mode) {
  if (is_root(path)) return open_real_root(flags);
  openat_function next = (openat_function)dlsym(RTLD_NEXT, real);
  if (next == NULL) {
    errno = ENOSYS;
    return -1;
  }
  return next(dirfd, path, flags, mode);
}

/* The four entry points differ only in name and in whether a directory is
 * given. */
#define OPEN_WRAPPER(declaration, real, dirfd)   \
  int declaration {                              \
    va_list args;                                \
    va_start(args, flags);                       \
    mode_t mode = mode_argument(flags, args);    \
    va_end(args);                                \
    return open_at(real, dirfd, path, flags, mode); \
  }

OPEN_WRAPPER(openat(int dirfd, const char* path, int flags, ...), "openat", dirfd)
OPEN_WRAPPER(openat64(int dirfd, const char* path, int flags, ...), "openat64", dirfd)
OPEN_WRAPPER(open(const char* path, int flags, ...), "openat", AT_FDCWD)
OPEN_WRAPPER(open64(const char* path, int flags, ...), "openat64", AT_FDCWD)
