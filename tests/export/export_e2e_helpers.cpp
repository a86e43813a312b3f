#include "tests/export/export_e2e_helpers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

namespace exporttest {

using testsupport::ChildProcess;
using testsupport::ProcessOptions;

int freePort() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  socklen_t length = sizeof address;
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("freePort: no port");
  }
  close(fd);
  return ntohs(address.sin_port);
}

bool portOpen(int port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  bool open = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return open;
}

void dmtool(const std::string& map, const std::vector<std::string>& args) {
  std::vector<std::string> argv = {testsupport::stagedProgram("bin/dmtool"), "--map", map};
  argv.insert(argv.end(), args.begin(), args.end());
  testsupport::ProcessResult result = testsupport::runProcess(argv);
  if (result.exitCode != 0) throw std::runtime_error("dmtool: " + result.err);
}

std::string makeMap(const testsupport::TempDir& dir) {
  std::string map = dir.file("datamap");
  dmtool(map, {"create", testsupport::sourcePath("data/meter.catalog")});
  return map;
}

std::unique_ptr<ChildProcess> startExporter(const std::string& map,
                                            const std::vector<std::string>& args) {
  std::vector<std::string> argv = {testsupport::stagedProgram("sbin/livedata_export")};
  argv.insert(argv.end(), args.begin(), args.end());
  ProcessOptions options;
  options.env = {"DATAMAP_FILE=" + map};
  auto child = std::make_unique<ChildProcess>();
  if (!child->start(argv, options)) throw std::runtime_error("cannot start livedata_export");
  return child;
}

std::unique_ptr<ChildProcess> startBroker(const testsupport::TempDir& dir, int port,
                                          const std::string& access) {
  std::string config = dir.file("mosquitto-" + std::to_string(port) + ".conf");
  testsupport::writeFile(config, "listener " + std::to_string(port) + " 127.0.0.1\n" + access +
                                     "persistence false\n");
  auto broker = std::make_unique<ChildProcess>();
  if (!broker->start({"/usr/sbin/mosquitto", "-c", config})) return nullptr;
  if (!testsupport::waitFor([&] { return portOpen(port); })) return nullptr;
  return broker;
}

std::vector<std::string> subscriberLines(const ChildProcess& subscriber) {
  std::vector<std::string> lines;
  std::istringstream in(subscriber.out());
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

std::unique_ptr<ChildProcess> startSubscriber(int port, const std::vector<std::string>& topics) {
  // -v: "TOPIC PAYLOAD"; stdbuf: every line reaches the file at once.
  std::vector<std::string> argv = {"/usr/bin/stdbuf", "-oL", "/usr/bin/mosquitto_sub", "-h", "127.0.0.1",
                                   "-p", std::to_string(port), "-v"};
  for (const std::string& topic : topics) {
    argv.push_back("-t");
    argv.push_back(topic);
  }
  auto child = std::make_unique<ChildProcess>();
  if (!child->start(argv)) throw std::runtime_error("cannot start mosquitto_sub");
  return child;
}

std::string retainedMessage(int port, const std::string& topic) {
  testsupport::ProcessOptions options;
  options.timeout = std::chrono::seconds(10);
  testsupport::ProcessResult result =
      testsupport::runProcess({"/usr/bin/mosquitto_sub", "-h", "127.0.0.1", "-p", std::to_string(port),
                               "-t", topic, "-C", "1", "-W", "2", "--retained-only"},
                              options);
  std::string text = result.out;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string httpGet(const std::string& url, bool withHeaders) {
  std::vector<std::string> argv = {"/usr/bin/curl", "-s", "--max-time", "5"};
  if (withHeaders) argv.push_back("-i");
  argv.push_back(url);
  testsupport::ProcessResult result = testsupport::runProcess(argv);
  return result.exitCode == 0 ? result.out : "";
}

}  // namespace exporttest
