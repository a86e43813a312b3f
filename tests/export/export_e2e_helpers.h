// Shared pieces of the exporter's end-to-end tests: free loopback ports, a
// datamap made with the staged dmtool, the staged livedata_export, and
// Debian's mosquitto, prometheus and lighttpd in the test's directory.
#ifndef TESTS_EXPORT_EXPORT_E2E_HELPERS_H_
#define TESTS_EXPORT_EXPORT_E2E_HELPERS_H_

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

namespace exporttest {

// A TCP port on 127.0.0.1 that nothing listens on now.
int freePort();
// True while something accepts connections on 127.0.0.1:port.
bool portOpen(int port);

// Runs the staged dmtool on map; throws std::runtime_error when it fails.
void dmtool(const std::string& map, const std::vector<std::string>& args);
// A map at DIR/datamap from the simulator's catalogue; returns its path.
std::string makeMap(const testsupport::TempDir& dir);

// The staged livedata_export with DATAMAP_FILE=map.
std::unique_ptr<testsupport::ChildProcess> startExporter(const std::string& map,
                                                         const std::vector<std::string>& args);

// Debian's mosquitto on 127.0.0.1:port, no persistence, with the access lines
// of its configuration (anonymous by default); waits until it accepts
// connections. Returns null when it did not start.
std::unique_ptr<testsupport::ChildProcess> startBroker(
    const testsupport::TempDir& dir, int port,
    const std::string& access = "allow_anonymous true\n");

// Messages a mosquitto_sub child has printed with -v: "TOPIC PAYLOAD" lines.
std::vector<std::string> subscriberLines(const testsupport::ChildProcess& subscriber);
// A mosquitto_sub -v on topics (kept running).
std::unique_ptr<testsupport::ChildProcess> startSubscriber(int port,
                                                           const std::vector<std::string>& topics);
// The retained message on topic, or "" when none came within 2 s.
std::string retainedMessage(int port, const std::string& topic);

// curl: the body (or with headers) of an HTTP GET; "" on failure.
std::string httpGet(const std::string& url, bool withHeaders = false);

}  // namespace exporttest

#endif  // TESTS_EXPORT_EXPORT_E2E_HELPERS_H_
