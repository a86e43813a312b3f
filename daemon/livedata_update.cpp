// livedata_update: the meter's live-data service. Start-up runs in one thread in a
// fixed order (instance check, options, version, runtime file, daemon, shutdown
// routine, pid file, profile label, datamap, enumerations, updaters); the main
// thread then stays in the heartbeat loop for the life of the process, which ends
// only by exit (running daemonShutdown) or by a signal.
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "daemon/AppUsage.h"
#include "daemon/DaemonShutdown.h"
#include "daemon/ServiceReadiness.h"
#include "daemon/VersionInformation.h"
#include "daemon/livedata_update_Runtime.h"
#include "livedata/DmAccess.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "platform/common_api.h"
#include "platform/datamap.h"
#include "platform/settings_file.h"

namespace {

const char kRuntimeFile[] = "/home/korvo.data/test/livedata_update_runtime.xml";

// Datamap indexes of the three enumerations, kept for the main loop's re-reads.
unsigned int hookupIndex = DM_INDEX_NONE;
unsigned int frequencyTypeIndex = DM_INDEX_NONE;
unsigned int phaseTypeIndex = DM_INDEX_NONE;

// The meter's fixed paths below $LIVEDATA_ROOT (empty on the meter).
std::string meterPath(const char* path) {
  const char* root = getenv("LIVEDATA_ROOT");
  return std::string(root != nullptr ? root : "") + path;
}

void refuseSecondInstance() {
  int other = process_comm_pid(0);
  if (other > 0) {
    printf(
        "process \"livedata_update\" is running, pid = %d, please close it and then restart "
        "process\n",
        other);
    exit(-10);
  }
}

// Parses the options; returns the "-p" argument (null when not given).
const char* parseOptions(int argc, char** argv) {
  const char* pidFile = nullptr;
  int option;
  while ((option = getopt(argc, argv, "?dm:p:Vh")) != -1) {
    switch (option) {
      case 'd':
        debug = true;
        debugMask = 0xFFFFFFFFu;
        break;
      case 'm': debugMask = static_cast<uint32_t>(strtoul(optarg, nullptr, 0)); break;
      case 'p': pidFile = optarg; break;
      case 'V': print_out_app_version(); exit(-1);
      case '?': print_out_app_short_usage(argv[0]); exit(0);
      default: print_out_app_usage_help(stdout, argv[0]); exit(1);
    }
  }
  return pidFile;
}

// strncpy's bounded copy: a value of 36 characters or more is cut without a
// terminator (the version values are kept shorter than that).
template <size_t N>
void boundedCopy(char (&target)[N], const char* value) {
  size_t i = 0;
  for (; i < N && value[i] != '\0'; ++i) target[i] = value[i];
  for (; i < N; ++i) target[i] = '\0';
}

void copyVersionTexts() {
  char value[kVersionRecordSize];
  boundedCopy(version, VI_record_value(kVerFileVersion, value));
  boundedCopy(buildtime, VI_record_value(kVerFileDate, value));
  if (debug) printf("version: %s built: %s\n", version, buildtime);
}

void writePidFile(const char* pidFileOption) {
  if (pidFileOption != nullptr && pidFileOption[0] != '\0') ldu_Runtime.setPidFile(pidFileOption);
  int pid = 0;
  set_pid_file_version(&pid, ldu_Runtime.pidFile(), 65, version);
}

void openDatamap() {
  if (dm_open_map(&dm) != 0) {
    if (debug) printf("error in dm_open_map\n");
    exit(-1);
  }
}

// Reads one enumeration at start-up; on failure the value is 0 and failBit is set
// in profile_status.
void readEnumeration(const char* key, std::atomic<uint32_t>* target, unsigned int* index,
                     uint32_t failBit) {
  unsigned short value = 0;
  if (dm_key_read_uint16(&dm, key, &value, index) == 0) {
    target->store(value, std::memory_order_relaxed);
  } else {
    target->store(0, std::memory_order_relaxed);
    profile_status |= failBit;
  }
}

void readEnumerations() {
  profile_status = 0;
  readEnumeration("sys.enumeration.hookup", &hookup, &hookupIndex, 0x1);
  readEnumeration("sys.enumeration.frequency_type", &frequency_type, &frequencyTypeIndex, 0x2);
  readEnumeration("sys.enumeration.phase_type", &phase_type, &phaseTypeIndex, 0x4);
}

// Re-reads an enumeration by index; a failed read leaves the value as it was.
void refreshEnumeration(unsigned int index, std::atomic<uint32_t>* target) {
  unsigned int value = target->load(std::memory_order_relaxed);
  unsigned int scratch = 0;
  dm_read_uint32(&dm, index, &value, 0, &scratch);
  target->store(value, std::memory_order_relaxed);
}

// The output path of a document: the web root the flicker updater captured,
// then the web server's JSON directory and the file name.
std::string documentPath(const char* fileName) {
  return std::string(flicker->getWebRoot()) + kJsonDirectory + fileName;
}

// Registers a new updater (the vector grows by one, filled with it), clears its
// write-through flag (each updater writes its own document) and sets its period.
void addUpdater(LiveData* updater, int interval) {
  liveDataThreads.resize(liveDataThreads.size() + 1, updater);
  updater->setWriteThrough(false);
  updater->setInterval(interval);
}

void startFlicker() {
  if (debug) puts("creating flicker thread");
  flicker = new FlickerUpdate();
  puts("flicker1");
  liveDataThreads.resize(liveDataThreads.size() + 1, flicker);
  puts("flicker2");
  flicker->setWriteThrough(false);
  flicker->setInterval(ldu_Runtime.flickerInterval());
  puts("flicker3");
  flicker->setJsonFile(documentPath("flicker_data.json").c_str());
  puts("flicker4");
  puts("flicker4");
  flicker->run();
}

// Prints the debug line (if any), creates an updater, registers it with its
// period and document and starts its thread.
template <typename Updater>
Updater* startUpdater(const char* debugLine, int interval, const char* fileName) {
  if (debug && debugLine != nullptr) puts(debugLine);
  Updater* updater = new Updater();
  addUpdater(updater, interval);
  updater->setJsonFile(documentPath(fileName).c_str());
  updater->run();
  return updater;
}

void startUpdaters() {
  startFlicker();
  // The THD period is fixed: the runtime file's thd interval is not used.
  thd = startUpdater<ThdUpdate>("creating thd thread", 3000, "thd_data.json");
  energy = startUpdater<EnergyUpdate>("creating energy thread", ldu_Runtime.energyInterval(),
                                      "energy_data.json");
  phasor = startUpdater<PhasorUpdate>(nullptr, ldu_Runtime.phasorInterval(), "phasor_data.json");
  polling = startUpdater<PollingUpdate>("creating polling thread", ldu_Runtime.pollingInterval(),
                                        "polling_data.json");
  if (debug) puts("creating led thread");
  polling->run(polling->ledThreadId(), PollingUpdate::led_process_thread);
  // The symmetrical components follow the phasor period on purpose.
  symm = startUpdater<SymmUpdate>("creating symm thread", ldu_Runtime.phasorInterval(),
                                  "symmetrical_components.json");
}

// Each turn also tells a service manager, once, that the service is up (the
// platform sends nothing when no manager asked for it).
[[noreturn]] void heartbeatLoop() {
  ServiceReadiness readiness(std::string(flicker->getWebRoot()) + kJsonDirectory, liveDataThreads);
  if (debug) puts("entering main loop");
  for (;;) {
    sleep(static_cast<unsigned int>(ldu_Runtime.heartbeatInterval()));
    readiness.notifyWhenReady();
    if (ldu_Runtime.heartbeatEnable()) {
      if (debug) puts("heartbeat...");
      heartbeat_notify();
    }
    refreshEnumeration(hookupIndex, &hookup);
    refreshEnumeration(frequencyTypeIndex, &frequency_type);
    refreshEnumeration(phaseTypeIndex, &phase_type);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Whatever umask the caller left, no document or pid file is writable by
  // anyone but the daemon's user.
  umask(022);
  // Line-buffered even into a file or pipe: every line is out when it is printed,
  // and nothing buffered is written twice when the process forks to daemonize.
  setvbuf(stdout, nullptr, _IOLBF, 0);

  refuseSecondInstance();
  const char* pidFileOption = parseOptions(argc, argv);
  copyVersionTexts();
  ldu_Runtime.loadRuntimeFile(meterPath(kRuntimeFile).c_str());
  if (!debug && ldu_Runtime.daemonize()) daemonize_withSTDFILE();
  atexit(daemonShutdown);
  writePidFile(pidFileOption);
  ldu_Runtime.print_profile_label(meterPath(settings_file::kPath).c_str());
  setenv("OPENSSL_ppccap", "0x0", 1);
  openDatamap();
  readEnumerations();
  timestamp_print_out_format = 0;
  startUpdaters();
  heartbeatLoop();
}
