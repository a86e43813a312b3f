#include "export/MqttOutput.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <mutex>

#include "base/InputFile.h"
#include "export/MosquittoLibrary.h"

namespace ldexport {

namespace {

constexpr int kKeepaliveSeconds = 30;
constexpr int kFirstRetryMs = 1000;
constexpr int kLongestRetryMs = 5000;
// Messages queued by the reading thread wake the loop at once; the timeout only
// paces keepalive checks and how soon a stop is seen.
constexpr int kLoopTimeoutMs = 1000;
constexpr size_t kPasswordFileLimit = 4096;
constexpr size_t kStateCapacity = 8 * 1024;
constexpr size_t kDiscoveryCapacity = 4 * 1024;
constexpr const char* kOnline = "online";
constexpr const char* kOffline = "offline";

// Opens path for reading without blocking on a FIFO or device; -1 and errno
// (EINVAL for what is not a regular file) on failure.
int openRegularFile(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return -1;
  struct stat status;
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(fd);
    errno = EINVAL;
    return -1;
  }
  return fd;
}

// The first line of a small regular file, without its line end.
base::Status readFirstLine(const std::string& path, std::string* line) {
  int fd = openRegularFile(path);
  if (fd < 0) {
    if (errno == EINVAL) return base::Status::Error(path, "not a regular file");
    return base::Status::Error(path, "cannot open", errno);
  }
  std::string all;
  base::Status status = base::InputFile::readUpTo(fd, kPasswordFileLimit, path.c_str(), &all);
  close(fd);
  if (!status.ok()) return status;
  if (all.size() > kPasswordFileLimit) {
    return base::Status::Error(path, base::InputFile::tooLargeStep(kPasswordFileLimit));
  }
  size_t end = all.find_first_of("\r\n");
  *line = end == std::string::npos ? all : all.substr(0, end);
  return base::Status::Ok();
}

// True when mid a is b or was handed out after it (mids are 16-bit and wrap).
bool atOrAfter(int a, int b) {
  return static_cast<int16_t>(static_cast<uint16_t>(a) - static_cast<uint16_t>(b)) >= 0;
}

// The process's one libmosquitto, loaded by the first MQTT output that needs it.
base::Status loadProcessLibrary(const MosquittoLibrary** library) {
  static std::mutex loading;
  static MosquittoLibrary loaded;
  std::lock_guard<std::mutex> lock(loading);
  base::Status status = loaded.load();
  if (status.ok()) *library = &loaded;
  return status;
}

void waitFor(const std::function<bool()>& done, int milliseconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!done() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

MqttOutput::MqttOutput(const ExportOptions& options, FILE* log)
    : options_(options), log_(log), state_(kStateCapacity), discovery_(kDiscoveryCapacity) {}

MqttOutput::~MqttOutput() {
  stop();
  if (libraryReady_) library_->libCleanup();
}

base::Status MqttOutput::prepare() {
  if (!options_.mqttPasswordFile.empty()) {
    if (options_.mqttUser.empty()) {
      return base::Status::Error("--mqtt-password-file", "needs --mqtt-user");
    }
    base::Status status = readFirstLine(options_.mqttPasswordFile, &password_);
    if (!status.ok()) return status;
  }
  if (!options_.mqttCaFile.empty()) {
    int fd = openRegularFile(options_.mqttCaFile);
    if (fd < 0) {
      if (errno == EINVAL) return base::Status::Error(options_.mqttCaFile, "not a regular file");
      return base::Status::Error(options_.mqttCaFile, "cannot open", errno);
    }
    close(fd);
  }
  base::Status loaded = loadProcessLibrary(&library_);
  if (!loaded.ok()) return loaded;
  library_->libInit();
  libraryReady_ = true;
  return base::Status::Ok();
}

std::string MqttOutput::reasonFor(int code) const {
  if (code == MOSQ_ERR_ERRNO) return strerror(errno);
  return library_->strerror(code);
}

base::Status MqttOutput::start(const Snapshot& snapshot) {
  identity_ = meterIdentity(snapshot, options_.topic, options_.discoveryPrefix);
  stateTopic_ = identity_.stateTopic();
  availabilityTopic_ = identity_.availabilityTopic();
  statusTopic_ = identity_.statusTopic();
  std::string clientId = "livedata_export-" + identity_.node + "-" + std::to_string(getpid());
  client_ = library_->create(clientId.c_str(), true, this);
  if (client_ == nullptr) return base::Status::Error("mqtt", "cannot make a client", errno);
  library_->threadedSet(client_, true);
  library_->intOption(client_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
  int code =
      library_->willSet(client_, availabilityTopic_.c_str(), strlen(kOffline), kOffline, 1, true);
  if (code != MOSQ_ERR_SUCCESS) return base::Status::Error("mqtt", "will: " + reasonFor(code));
  if (!options_.mqttUser.empty()) {
    code = library_->usernamePwSet(client_, options_.mqttUser.c_str(),
                                   options_.mqttPasswordFile.empty() ? nullptr : password_.c_str());
    if (code != MOSQ_ERR_SUCCESS) return base::Status::Error("mqtt", "user: " + reasonFor(code));
  }
  if (!options_.mqttCaFile.empty()) {
    code =
        library_->tlsSet(client_, options_.mqttCaFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    if (code != MOSQ_ERR_SUCCESS) {
      return base::Status::Error(options_.mqttCaFile, "TLS: " + reasonFor(code));
    }
  }
  library_->connectCallbackSet(client_, &MqttOutput::connectCallback);
  library_->disconnectCallbackSet(client_, &MqttOutput::disconnectCallback);
  library_->publishCallbackSet(client_, &MqttOutput::publishCallback);
  library_->messageCallbackSet(client_, &MqttOutput::messageCallback);
  fprintf(log_, "livedata_export: mqtt: meter %s, topics %s/{state,availability}\n",
          identity_.node.c_str(), identity_.baseTopic.c_str());
  running_ = true;
  network_ = std::thread(&MqttOutput::networkLoop, this);
  return base::Status::Ok();
}

void MqttOutput::reportState(const std::string& line) {
  if (line == lastStateLine_) return;
  lastStateLine_ = line;
  fprintf(log_, "livedata_export: mqtt: %s\n", line.c_str());
}

void MqttOutput::waitBeforeRetry(int milliseconds) {
  std::unique_lock<std::mutex> lock(wakeMutex_);
  wake_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                 [this] { return !running_.load() || stopping_.load(); });
}

void MqttOutput::networkLoop() {
  const std::string broker = options_.mqttHost + ":" + std::to_string(options_.mqttPort);
  int retryMs = kFirstRetryMs;
  bool socketOpen = false;
  while (running_.load()) {
    if (!socketOpen) {
      if (stopping_.load()) break;
      int code = library_->connectAsync(client_, options_.mqttHost.c_str(), options_.mqttPort,
                                        kKeepaliveSeconds);
      if (code != MOSQ_ERR_SUCCESS) {
        reportState("cannot connect to " + broker + ": " + reasonFor(code) + "; retrying");
        waitBeforeRetry(retryMs);
        retryMs = std::min(retryMs * 2, kLongestRetryMs);
        continue;
      }
      socketOpen = true;
    }
    int code = library_->loop(client_, kLoopTimeoutMs, 1);
    if (code == MOSQ_ERR_SUCCESS) {
      if (connected_.load()) retryMs = kFirstRetryMs;
      continue;
    }
    socketOpen = false;
    bool wasConnected = connected_.exchange(false);
    pendingStateMid_ = -1;
    if (stopping_.load() || !running_.load()) break;
    if (wasConnected) {
      reportState("connection to " + broker + " lost: " + reasonFor(code) + "; reconnecting");
    } else {
      reportState("cannot connect to " + broker + ": " + reasonFor(code) + "; retrying");
    }
    waitBeforeRetry(retryMs);
    retryMs = std::min(retryMs * 2, kLongestRetryMs);
  }
  networkDone_ = true;
}

void MqttOutput::sendDiscovery() {
  if (!options_.discovery) return;
  for (const ReadingRow& row : kReadingTable) {
    if (row.jsonName == nullptr) continue;
    formatDiscovery(identity_, row, &discovery_);
    if (discovery_.overflowed()) continue;
    std::string topic = identity_.discoveryTopic(row);
    library_->publish(client_, nullptr, topic.c_str(), static_cast<int>(discovery_.size()),
                      discovery_.data(), 1, true);
  }
}

void MqttOutput::onConnect(int code) {
  if (code != 0) {
    reportState(options_.mqttHost + ":" + std::to_string(options_.mqttPort) +
                " refused the connection: " + library_->connackString(code) + "; retrying");
    return;
  }
  pendingStateMid_ = -1;
  library_->publish(client_, nullptr, availabilityTopic_.c_str(), strlen(kOnline), kOnline, 1,
                    true);
  if (options_.discovery) library_->subscribe(client_, nullptr, statusTopic_.c_str(), 1);
  sendDiscovery();
  connects_++;
  connected_ = true;
  reportState("connected to " + options_.mqttHost + ":" + std::to_string(options_.mqttPort));
}

void MqttOutput::onDisconnect(int code) {
  (void)code;
  connected_ = false;
  pendingStateMid_ = -1;
}

void MqttOutput::onPublish(int mid) {
  // QoS 1 acknowledgements may come after later QoS 0 messages have left:
  // the mark only moves forward.
  int sent = sentMid_.load();
  while ((sent < 0 || !atOrAfter(sent, mid)) && !sentMid_.compare_exchange_weak(sent, mid)) {
  }
}

void MqttOutput::onMessage(const mosquitto_message* message) {
  if (message->topic == nullptr || statusTopic_ != message->topic) return;
  std::string payload(static_cast<const char*>(message->payload),
                      static_cast<size_t>(message->payloadlen > 0 ? message->payloadlen : 0));
  if (payload == kOnline) sendDiscovery();
}

void MqttOutput::connectCallback(mosquitto*, void* self, int code) {
  static_cast<MqttOutput*>(self)->onConnect(code);
}

void MqttOutput::disconnectCallback(mosquitto*, void* self, int code) {
  static_cast<MqttOutput*>(self)->onDisconnect(code);
}

void MqttOutput::publishCallback(mosquitto*, void* self, int mid) {
  static_cast<MqttOutput*>(self)->onPublish(mid);
}

void MqttOutput::messageCallback(mosquitto*, void* self, const mosquitto_message* message) {
  static_cast<MqttOutput*>(self)->onMessage(message);
}

bool MqttOutput::stateMayGo() const {
  int pending = pendingStateMid_.load();
  if (pending < 0) return true;
  int sent = sentMid_.load();
  return sent >= 0 && atOrAfter(sent, pending);
}

void MqttOutput::publish(const Snapshot& snapshot) {
  if (!started_) {
    if (startFailed_ || !identityKnown(snapshot)) return;
    started_ = true;
    base::Status status = start(snapshot);
    if (!status.ok()) {
      fprintf(log_, "livedata_export: %s; no MQTT output\n", status.message().c_str());
      startFailed_ = true;
    }
    return;
  }
  if (startFailed_ || !connected_.load()) return;
  if (!stateMayGo()) {
    statesSkipped_++;
    return;
  }
  formatState(snapshot, &state_);
  if (state_.overflowed()) return;
  int mid = -1;
  int code = library_->publish(client_, &mid, stateTopic_.c_str(), static_cast<int>(state_.size()),
                               state_.data(), 0, false);
  if (code == MOSQ_ERR_SUCCESS) {
    pendingStateMid_ = mid;
    statesQueued_++;
  }
}

void MqttOutput::stop() {
  if (!started_ || client_ == nullptr) return;
  if (running_.load() && connected_.load()) {
    int mid = -1;
    if (library_->publish(client_, &mid, availabilityTopic_.c_str(), strlen(kOffline), kOffline, 1,
                          true) == MOSQ_ERR_SUCCESS) {
      waitFor(
          [&] {
            int sent = sentMid_.load();
            return sent >= 0 && atOrAfter(sent, mid);
          },
          1000);
    }
    stopping_ = true;
    library_->disconnect(client_);
    waitFor([&] { return !connected_.load(); }, 1000);
  }
  stopping_ = true;
  running_ = false;
  wake_.notify_all();
  if (network_.joinable()) {
    // A name lookup or TLS handshake inside the library is not interruptible:
    // the process is ending, so a thread still inside after 2 s is left there.
    waitFor([&] { return networkDone_.load(); }, 2000);
    if (!networkDone_.load()) {
      fprintf(log_, "livedata_export: mqtt: the network thread did not end; leaving it\n");
      network_.detach();
      client_ = nullptr;
      return;
    }
    network_.join();
  }
  library_->destroy(client_);
  client_ = nullptr;
}

}  // namespace ldexport
