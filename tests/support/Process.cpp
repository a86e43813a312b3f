#include "tests/support/Process.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/TempDir.h"

extern char** environ;

namespace testsupport {
namespace {

std::vector<std::string> emulatedArgv(const std::vector<std::string>& argv) {
  const char* emulator = getenv("LDU_TEST_EMULATOR");
  if (emulator == nullptr || *emulator == '\0' || argv.empty() ||
      argv[0].compare(0, strlen(LDU_STAGE_DIR), LDU_STAGE_DIR) != 0) {
    return argv;
  }
  std::vector<std::string> full;
  std::istringstream words(emulator);
  for (std::string word; words >> word;) full.push_back(word);
  full.insert(full.end(), argv.begin(), argv.end());
  return full;
}

std::vector<std::string> childEnvironment(const ProcessOptions& options) {
  std::vector<std::string> env;
  auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
  for (char** entry = environ; *entry != nullptr; ++entry) {
    std::string name = nameOf(*entry);
    bool dropped = false;
    for (const auto& unset : options.unsetEnv) dropped = dropped || unset == name;
    for (const auto& added : options.env) dropped = dropped || nameOf(added) == name;
    if (!dropped) env.push_back(*entry);
  }
  env.insert(env.end(), options.env.begin(), options.env.end());
  return env;
}

// Forks and execs; the child's stdin comes from stdinPath, stdout and stderr go to files.
pid_t spawn(const std::vector<std::string>& argv, const ProcessOptions& options,
            const std::string& stdinPath, const std::string& outPath, const std::string& errPath) {
  std::vector<std::string> args = emulatedArgv(argv);
  std::vector<std::string> env = childEnvironment(options);
  std::vector<char*> argp, envp;
  for (auto& arg : args) argp.push_back(&arg[0]);
  argp.push_back(nullptr);
  for (auto& entry : env) envp.push_back(&entry[0]);
  envp.push_back(nullptr);
  pid_t pid = fork();
  if (pid != 0) return pid;
  setpgid(0, 0);
  int in = open(stdinPath.c_str(), O_RDONLY);
  int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  dup2(in, 0);
  dup2(out, 1);
  dup2(err, 2);
  execve(argp[0], argp.data(), envp.data());
  _exit(127);
}

ProcessResult resultOf(int status) {
  ProcessResult result;
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

}  // namespace

ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
  ChildProcess child;
  if (!child.start(argv, options)) return ProcessResult();
  return child.wait(options.timeout);
}

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && !reaped_) {
    kill(-pid_, SIGKILL);
    kill(pid_, SIGKILL);
    waitpid(pid_, &status_, 0);
  }
}

bool ChildProcess::start(const std::vector<std::string>& argv, const ProcessOptions& options) {
  dir_.reset(new TempDir());
  writeFile(dir_->file("stdin"), options.stdinText);
  pid_ = spawn(argv, options, dir_->file("stdin"), dir_->file("stdout"), dir_->file("stderr"));
  reaped_ = false;
  return pid_ > 0;
}

bool ChildProcess::running() {
  if (pid_ <= 0 || reaped_) return false;
  pid_t done = waitpid(pid_, &status_, WNOHANG);
  if (done == pid_) reaped_ = true;
  return !reaped_;
}

ProcessResult ChildProcess::wait(std::chrono::milliseconds timeout) {
  bool ended = waitFor([this] { return !running(); }, timeout);
  if (!ended) {
    kill(-pid_, SIGKILL);
    kill(pid_, SIGKILL);
    waitpid(pid_, &status_, 0);
    reaped_ = true;
  }
  ProcessResult result = resultOf(status_);
  result.timedOut = !ended;
  result.out = out();
  result.err = err();
  return result;
}

ProcessResult ChildProcess::stop(int sig, std::chrono::milliseconds timeout) {
  if (running()) kill(pid_, sig);
  return wait(timeout);
}

std::string ChildProcess::out() const {
  std::string text;
  if (dir_) readFileIfExists(dir_->file("stdout"), &text);
  return text;
}

std::string ChildProcess::err() const {
  std::string text;
  if (dir_) readFileIfExists(dir_->file("stderr"), &text);
  return text;
}

long residentKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 6, "VmRSS:") == 0) return strtol(line.c_str() + 6, nullptr, 10);
  }
  return -1;
}

int openDescriptors(pid_t pid) {
  DIR* fds = opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
  if (fds == nullptr) return -1;
  int count = 0;
  while (struct dirent* entry = readdir(fds)) {
    if (entry->d_name[0] != '.') ++count;
  }
  closedir(fds);
  return count;
}

bool otherDaemonRunning() {
  DIR* proc = opendir("/proc");
  if (proc == nullptr) return false;
  bool found = false;
  while (struct dirent* entry = readdir(proc)) {
    pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
    if (pid <= 0 || pid == getpid()) continue;
    std::string comm;
    std::string stat;
    if (testsupport::readFileIfExists("/proc/" + std::to_string(pid) + "/comm", &comm) &&
        comm == "livedata_update\n" &&
        testsupport::readFileIfExists("/proc/" + std::to_string(pid) + "/stat", &stat) &&
        stat.find(") Z") == std::string::npos) {
      found = true;
      break;
    }
  }
  closedir(proc);
  return found;
}

std::vector<pid_t> processesWithEnvironmentEntry(const std::string& entry) {
  std::vector<pid_t> found;
  DIR* proc = opendir("/proc");
  if (proc == nullptr) return found;
  const std::string wanted = std::string(1, '\0') + entry + std::string(1, '\0');
  while (struct dirent* item = readdir(proc)) {
    pid_t pid = static_cast<pid_t>(atoi(item->d_name));
    if (pid <= 0 || pid == getpid()) continue;
    const std::string base = "/proc/" + std::to_string(pid);
    std::string environment;
    std::string stat;
    if (testsupport::readFileIfExists(base + "/environ", &environment) &&
        ('\0' + environment).find(wanted) != std::string::npos &&
        testsupport::readFileIfExists(base + "/stat", &stat) &&
        stat.find(") Z") == std::string::npos) {
      found.push_back(pid);
    }
  }
  closedir(proc);
  return found;
}

std::string foregroundRuntimeXml(int intervalMs) {
  const std::string every = "interval=\"" + std::to_string(intervalMs) + "\"/>\n";
  return "<?xml version=\"1.0\"?>\n<livedata_update_run_time>\n"
         "  <flicker " + every + "  <energy " + every + "  <phasor " + every +
         "  <polling " + every +
         "  <daemonize enable=\"no\"/>\n"
         "  <heartbeat enable=\"no\" interval=\"1\"/>\n"
         "</livedata_update_run_time>\n";
}

}  // namespace testsupport
