// What one period of livedata_export costs, in the process: CPU time and heap
// allocations (malloc, calloc, realloc and operator new of every thread and
// library, libmosquitto's included) per period, with the Prometheus file
// only and with both outputs publishing to a real mosquitto on a free loopback
// port. A measurement, not a test.
//
//   build/bench/export_period_cost [PERIODS]     (default 2000)
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "export/ExportOptions.h"
#include "export/MqttOutput.h"
#include "export/PrometheusFile.h"
#include "export/SnapshotReader.h"
#include "platform/host/HostDatamap.h"
#include "tests/support/TempDir.h"

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
}

namespace {
std::atomic<long long> allocations{0};
}

// Counting interposers: the executable's definitions win over libc's for
// every shared library too.
extern "C" void* malloc(size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(count, size);
}
extern "C" void* realloc(void* pointer, size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(pointer, size);
}
extern "C" void free(void* pointer) { __libc_free(pointer); }

namespace {

int freePort() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  close(fd);
  return ntohs(address.sin_port);
}

double processCpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9;
}

struct Result {
  double cpuMicrosPerPeriod;
  double allocationsPerPeriod;
};

Result measure(ldexport::SnapshotReader* reader, ldexport::PrometheusFile* file,
               ldexport::MqttOutput* mqtt, int periods) {
  ldexport::Snapshot snapshot;
  auto period = [&] {
    reader->read(0, &snapshot);
    file->write(snapshot);
    if (mqtt) mqtt->publish(snapshot);
    // Let the network thread send what was queued, as a 1 s period would.
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  };
  for (int i = 0; i < 20; ++i) period();
  long long before = allocations.load();
  double cpu = processCpuSeconds();
  for (int i = 0; i < periods; ++i) period();
  return {(processCpuSeconds() - cpu) * 1e6 / periods,
          static_cast<double>(allocations.load() - before) / periods};
}

}  // namespace

int main(int argc, char** argv) {
  int periods = argc > 1 ? atoi(argv[1]) : 2000;
  testsupport::TempDir dir;
  std::string map = dir.file("datamap");
  std::string error;
  if (!dmhost::HostDatamap::createFromCatalogText(
          map, testsupport::readFile(testsupport::sourcePath("data/meter.catalog")), "catalog",
          &error)) {
    fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  setenv("DATAMAP_FILE", map.c_str(), 1);
  FILE* log = fopen("/dev/null", "w");

  ldexport::SnapshotReader reader;
  ldexport::PrometheusFile file(dir.file("metrics.prom"), log);
  Result prometheusOnly = measure(&reader, &file, nullptr, periods);
  printf("prometheus file only: %.1f us CPU per period, %.3f allocations per period\n",
         prometheusOnly.cpuMicrosPerPeriod, prometheusOnly.allocationsPerPeriod);

  int port = freePort();
  std::string config = dir.file("mosquitto.conf");
  testsupport::writeFile(config, "listener " + std::to_string(port) +
                                     " 127.0.0.1\nallow_anonymous true\npersistence false\n");
  pid_t broker = 0;
  const char* brokerArgv[] = {"/usr/sbin/mosquitto", "-c", config.c_str(), nullptr};
  if (posix_spawn(&broker, brokerArgv[0], nullptr, nullptr, const_cast<char**>(brokerArgv),
                  environ) != 0) {
    fprintf(stderr, "cannot start mosquitto\n");
    return 1;
  }
  ldexport::ExportOptions options;
  options.mqttHost = "127.0.0.1";
  options.mqttPort = port;
  ldexport::MqttOutput mqtt(options, log);
  if (!mqtt.prepare().ok()) return 1;
  ldexport::Snapshot snapshot;
  for (int i = 0; i < 500 && !mqtt.connected(); ++i) {
    reader.read(0, &snapshot);
    mqtt.publish(snapshot);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (!mqtt.connected()) {
    fprintf(stderr, "not connected to mosquitto\n");
    return 1;
  }
  Result both = measure(&reader, &file, &mqtt, periods);
  printf("prometheus file and mqtt: %.1f us CPU per period, %.3f allocations per period "
         "(%lu states queued, %lu skipped)\n",
         both.cpuMicrosPerPeriod, both.allocationsPerPeriod, mqtt.statesQueued(),
         mqtt.statesSkipped());
  mqtt.stop();
  kill(broker, SIGTERM);
  waitpid(broker, nullptr, 0);
  return 0;
}
