// Runs programs for end-to-end tests: to completion (runProcess) or in the
// background (ChildProcess), with extra environment, standard input text and
// captured standard output and error.
//
// When LDU_TEST_EMULATOR is set (for example "qemu-ppc -L /usr/powerpc-linux-gnu"),
// programs of the staged install are started through it.
#ifndef TESTS_SUPPORT_PROCESS_H_
#define TESTS_SUPPORT_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

struct ProcessOptions {
  std::vector<std::string> env;  // "NAME=VALUE" entries added to (or replacing in) ours
  std::vector<std::string> unsetEnv;  // names removed from the child's environment
  std::string stdinText;         // fed to standard input (then closed)
  std::chrono::milliseconds timeout{60000};
};

struct ProcessResult {
  int exitCode = -1;   // exit status, or -1 when killed by a signal
  int signal = 0;      // terminating signal, or 0
  bool timedOut = false;
  std::string out;
  std::string err;
};

ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});

// Runtime file text for end-to-end runs: the daemon stays in the foreground,
// sends no heartbeat, and flicker, energy, phasor and polling run every
// intervalMs.
std::string foregroundRuntimeXml(int intervalMs);

// VmRSS of process pid in KiB, or -1 when it cannot be read.
long residentKiB(pid_t pid);
// Number of open descriptors of process pid (entries of /proc/PID/fd).
int openDescriptors(pid_t pid);
// True while a livedata_update other than the caller (and not a zombie) runs on
// the machine: the daemon refuses to start beside it.
bool otherDaemonRunning();
// Processes (not zombies, not the caller) whose environment holds exactly the
// entry "NAME=VALUE": how a test finds a daemon it started that detached
// without telling its pid.
std::vector<pid_t> processesWithEnvironmentEntry(const std::string& entry);

class TempDir;

class ChildProcess {
 public:
  ChildProcess();
  ~ChildProcess();  // kills the child (SIGKILL) if it still runs
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool start(const std::vector<std::string>& argv, const ProcessOptions& options = {});
  pid_t pid() const { return pid_; }
  bool running();
  // Sends sig and waits up to timeout; returns the result (out and err included).
  ProcessResult stop(int sig, std::chrono::milliseconds timeout = std::chrono::seconds(10));
  // Waits for the child to end by itself.
  ProcessResult wait(std::chrono::milliseconds timeout = std::chrono::seconds(30));
  std::string out() const;
  std::string err() const;

 private:
  std::unique_ptr<TempDir> dir_;
  pid_t pid_ = -1;
  bool reaped_ = false;
  int status_ = 0;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_PROCESS_H_
