// The daemon's run-time settings: defaults, overrides from the XML runtime file,
// the program's log channel and the output path of the device profile label.
//
// One global instance, ldu_Runtime, is built before main: its constructor opens
// the log channel "livedata_update_runtime" and registers it for runtime_log, so
// every part of the program can log from the start.
//
// Thread-safety: loaded by the start-up thread before any worker starts; read-only
// afterwards.
#ifndef DAEMON_LIVEDATA_UPDATE_RUNTIME_H_
#define DAEMON_LIVEDATA_UPDATE_RUNTIME_H_

#include <stddef.h>
#include <stdio.h>

#include <string>

#include "platform/common_api.h"

class livedata_update_Runtime {
 public:
  livedata_update_Runtime();
  ~livedata_update_Runtime();
  livedata_update_Runtime(const livedata_update_Runtime&) = delete;
  livedata_update_Runtime& operator=(const livedata_update_Runtime&) = delete;

  // Reads overrides from the XML file at path. 0 on success; 1 when the file
  // cannot be opened or holds no livedata_update_run_time element (one log line,
  // settings unchanged).
  int loadRuntimeFile(const char* path);

  // Writes the device profile label document from the programmable settings
  // file; returns what ProfileLabel::print_profile_label returns.
  int print_profile_label(const char* settings_file_path);

  // Largest runtime file read; a larger one counts as unopenable.
  static constexpr size_t kMaxRuntimeFileSize = 1024 * 1024;

  // Opens path for reading as loadRuntimeFile does: errors other than ENOENT and
  // EACCES are retried after 1 ms, at most 10 opens in all. Anything but a
  // regular file of at most kMaxRuntimeFileSize bytes is refused at once, without
  // blocking (a FIFO) and without retries. *attempts receives the number of opens
  // made. Null when none succeeded.
  static FILE* openWithRetries(const char* path, int* attempts);

  int verboseLevel() const { return verboseLevel_; }
  bool daemonize() const { return daemonize_; }
  bool heartbeatEnable() const { return heartbeatEnable_; }
  int heartbeatInterval() const { return heartbeatInterval_; }
  const char* pidFile() const { return pidFile_.c_str(); }
  void setPidFile(const char* path) { pidFile_ = path; }
  int flickerInterval() const { return flickerInterval_; }
  int thdInterval() const { return thdInterval_; }
  int energyInterval() const { return energyInterval_; }
  int phasorInterval() const { return phasorInterval_; }
  int pollingInterval() const { return pollingInterval_; }
  int symmInterval() const { return symmInterval_; }
  ZUL_LOG_CHANNEL* logChannel() { return &channel_; }
  const char* webRoot() const { return webRoot_; }
  const char* profileLabelPath() const { return profileLabelPath_; }

 private:
  void log(const char* format, ...) __attribute__((format(printf, 2, 3)));

  int verboseLevel_ = 4;
  bool daemonize_ = true;
  bool heartbeatEnable_ = true;
  int heartbeatInterval_ = 2;
  std::string pidFile_ = "/tmp/pid/home/korvo/test/livedata.pid";
  int flickerInterval_ = 1000;
  int thdInterval_ = 1000;
  int energyInterval_ = 1000;
  int phasorInterval_ = 1000;
  int pollingInterval_ = 1000;
  int symmInterval_ = 1000;
  ZUL_LOG_CHANNEL channel_ = {};
  const char* webRoot_ = "";
  char profileLabelPath_[512] = {};
};

// The daemon's runtime configuration.
extern livedata_update_Runtime ldu_Runtime;

#endif  // DAEMON_LIVEDATA_UPDATE_RUNTIME_H_
