// Host implementation of the process housekeeping calls of common_api.h:
// finding another instance, detaching, the pid file and file ownership.
//
// Thread-safety: meant for the start-up thread; chown_to_parent_dir may be
// called from any thread.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <string>

#include "base/TrustedDirectory.h"
#include "base/WriteAll.h"
#include "platform/common_api.h"

namespace {

// Reads /proc/<pid>/comm (without its newline); false when it cannot be read.
bool readComm(const std::string& pid, std::string* comm) {
  FILE* file = fopen(("/proc/" + pid + "/comm").c_str(), "re");
  if (file == nullptr) return false;
  char text[64] = {};
  bool ok = fgets(text, sizeof(text), file) != nullptr;
  fclose(file);
  if (!ok) return false;
  text[strcspn(text, "\n")] = '\0';
  *comm = text;
  return true;
}

// A zombie has already ended; it does not count as a running instance.
bool isZombie(const std::string& pid) {
  FILE* file = fopen(("/proc/" + pid + "/stat").c_str(), "re");
  if (file == nullptr) return true;  // gone meanwhile
  char text[512] = {};
  size_t length = fread(text, 1, sizeof(text) - 1, file);
  fclose(file);
  text[length] = '\0';
  const char* close = strrchr(text, ')');  // comm may itself hold blanks or ')'
  return close == nullptr || (close[1] == ' ' && close[2] == 'Z');
}

bool isNumber(const char* text) {
  if (*text == '\0') return false;
  for (; *text != '\0'; ++text) {
    if (*text < '0' || *text > '9') return false;
  }
  return true;
}

// Opens the pid file inside a trusted directory (base/TrustedDirectory.h):
// never through a symbolic link, never blocking on a FIFO, and only a regular
// file of this user with one name. Refusals say so on one line of standard
// error; other failures stay silent, as the meter's library is.
int openPidFile(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  int directoryFd = -1;
  base::Status status = base::TrustedDirectory::open(directory, true, &directoryFd);
  if (!status.ok()) {
    if (base::TrustedDirectory::isRefusal(status)) {
      fprintf(stderr, "pid file %s not written: %s\n", path.c_str(), status.message().c_str());
    }
    return -1;
  }
  // What stands at the name is looked at first, for a clear refusal; the
  // open's own flags still hold if it is swapped meanwhile.
  struct stat st;
  const char* refusal = nullptr;
  if (name.empty()) {
    refusal = "it names a directory";
  } else if (fstatat(directoryFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
    if (S_ISLNK(st.st_mode))
      refusal = "it is a symbolic link";
    else if (!S_ISREG(st.st_mode))
      refusal = "it is not a regular file";
  }
  int fd = refusal != nullptr
               ? -1
               : openat(directoryFd, name.c_str(),
                        O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
  int error = errno;
  close(directoryFd);
  if (fd < 0) {
    if (refusal == nullptr && (error == ELOOP || error == ENXIO))
      refusal = "it is not a regular file";
    if (refusal != nullptr) fprintf(stderr, "pid file %s not written: %s\n", path.c_str(), refusal);
    return -1;
  }
  if (fstat(fd, &st) != 0) {
    refusal = "";
  } else if (!S_ISREG(st.st_mode)) {
    refusal = "it is not a regular file";
  } else if (st.st_uid != geteuid()) {
    refusal = "it belongs to another user";
  } else if (st.st_nlink != 1) {
    refusal = "it has another name (a hard link)";
  }
  if (refusal != nullptr) {
    if (*refusal != '\0') fprintf(stderr, "pid file %s not written: %s\n", path.c_str(), refusal);
    close(fd);
    return -1;
  }
  if (ftruncate(fd, 0) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

int process_comm_pid(int) {
  std::string own;
  if (!readComm("self", &own)) return -1;
  DIR* proc = opendir("/proc");
  if (proc == nullptr) return -1;
  const std::string self = std::to_string(getpid());
  int found = 0;
  while (struct dirent* entry = readdir(proc)) {
    if (!isNumber(entry->d_name) || self == entry->d_name) continue;
    std::string comm;
    if (readComm(entry->d_name, &comm) && comm == own && !isZombie(entry->d_name)) {
      found = atoi(entry->d_name);
      break;
    }
  }
  closedir(proc);
  return found;
}

// Standard output and error are left as they are: a daemon started from a
// terminal keeps printing there, one started by a service manager writes to
// the journal or wherever the manager pointed them.
int daemonize_withSTDFILE(void) {
  pid_t child = fork();
  if (child < 0) return -1;
  if (child > 0) _exit(0);
  if (setsid() < 0) return -1;
  child = fork();
  if (child < 0) return -1;
  if (child > 0) _exit(0);
  if (chdir("/") != 0) return -1;
  int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (null < 0) return -1;
  int status = dup2(null, STDIN_FILENO) < 0 ? -1 : 0;
  close(null);
  return status;
}

// mode selects a file mode on the meter; on the host the file is always
// written with mode 0644 (less the umask). Missing directories are created
// (0755) only inside trusted ones; see openPidFile.
int set_pid_file_version(int* pid, const char* path, int, const char* version) {
  int own = static_cast<int>(getpid());
  if (pid != nullptr) *pid = own;
  if (path == nullptr || path[0] == '\0') return -1;
  int fd = openPidFile(path);
  if (fd < 0) return -1;
  std::string text = std::to_string(own) + "\n" + (version != nullptr ? version : "") + "\n";
  bool ok = base::writeAll(fd, text).ok();
  ok = close(fd) == 0 && ok;
  return ok ? 0 : -1;
}

int chown_to_parent_dir(const char* path) {
  if (path == nullptr || path[0] == '\0') return -1;
  // Runs for every document in every cycle: the directory name goes into a
  // stack buffer, so that the updaters' steady state makes no heap allocation.
  char dir[PATH_MAX];
  const char* slash = strrchr(path, '/');
  if (slash == nullptr) {
    snprintf(dir, sizeof dir, ".");
  } else if (slash == path) {
    snprintf(dir, sizeof dir, "/");
  } else {
    size_t length = static_cast<size_t>(slash - path);
    if (length >= sizeof dir) return -1;
    memcpy(dir, path, length);
    dir[length] = '\0';
  }
  struct stat st;
  if (stat(dir, &st) != 0) return -1;
  return chown(path, st.st_uid, st.st_gid) == 0 ? 0 : -1;
}
