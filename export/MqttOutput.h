// The MQTT output of livedata_export (libmosquitto): per period one JSON state
// on <base>/state; a retained availability topic <base>/availability, "online"
// on every connect, "offline" as the retained last will and on a clean stop;
// Home Assistant discovery configs (export/MqttMessages.h) on every connect
// and again whenever <prefix>/status says "online".
//
// The connection lives in a network thread of its own that connects, runs
// libmosquitto's loop and reconnects with back-off (1 s doubling up to 5 s)
// after the broker went away, refused, or was not up (or not resolvable) at
// start; one line goes to the log on each change of state. The reading thread
// never waits on the broker: publish() only queues the state, and only while
// connected and once the previous state has left (at most one state queued).
//
// The meter's identity (node id, base topic) comes from the first snapshot
// that carries a designation or a valid factory record; the connection starts
// then.
//
// Thread-safety: prepare(), publish() and stop() are for the reading thread;
// the callbacks run in the network thread.
#ifndef EXPORT_MQTTOUTPUT_H_
#define EXPORT_MQTTOUTPUT_H_

#include <stdio.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "base/Status.h"
#include "export/ExportOptions.h"
#include "export/MqttMessages.h"
#include "export/Snapshot.h"
#include "export/TextBuffer.h"

struct mosquitto;
struct mosquitto_message;

namespace ldexport {

class MosquittoLibrary;

class MqttOutput {
 public:
  MqttOutput(const ExportOptions& options, FILE* log);
  ~MqttOutput();  // stop()
  MqttOutput(const MqttOutput&) = delete;
  MqttOutput& operator=(const MqttOutput&) = delete;

  // Checks and reads what must be usable before the first period: the
  // password file (a regular file, at most 4096 bytes; its first line), the
  // CA file, and libmosquitto itself, which is loaded here (see
  // export/MosquittoLibrary.h). An error's message is the one line to show
  // (exit status 2).
  base::Status prepare();

  // Queues snapshot's state; starts the connection at the first snapshot that
  // names the meter.
  void publish(const Snapshot& snapshot);

  // Publishes "offline" (retained) when connected, disconnects cleanly and
  // ends the network thread; waits at most about 2 s for the broker and 2 s
  // for the thread (one stuck in a name lookup is left to the process's end).
  void stop();

  // Counters for tests and benchmarks.
  bool connected() const { return connected_.load(); }
  unsigned long statesQueued() const { return statesQueued_.load(); }
  unsigned long statesSkipped() const { return statesSkipped_.load(); }
  unsigned long connects() const { return connects_.load(); }

 private:
  base::Status start(const Snapshot& snapshot);
  void networkLoop();
  void waitBeforeRetry(int milliseconds);
  void reportState(const std::string& line);
  // The reason for a libmosquitto result, errno's text for MOSQ_ERR_ERRNO.
  std::string reasonFor(int code) const;
  bool stateMayGo() const;
  void sendDiscovery();
  void onConnect(int code);
  void onDisconnect(int code);
  void onPublish(int mid);
  void onMessage(const mosquitto_message* message);

  static void connectCallback(mosquitto* client, void* self, int code);
  static void disconnectCallback(mosquitto* client, void* self, int code);
  static void publishCallback(mosquitto* client, void* self, int mid);
  static void messageCallback(mosquitto* client, void* self, const mosquitto_message* message);

  ExportOptions options_;
  FILE* log_;
  std::string password_;
  const MosquittoLibrary* library_ = nullptr;  // set by prepare()
  bool libraryReady_ = false;                  // mosquitto_lib_init ran
  bool started_ = false;
  bool startFailed_ = false;
  MeterIdentity identity_;
  std::string stateTopic_;
  std::string availabilityTopic_;
  std::string statusTopic_;
  mosquitto* client_ = nullptr;
  std::thread network_;
  TextBuffer state_;
  TextBuffer discovery_;  // network thread only

  std::atomic<bool> running_{false};
  std::atomic<bool> connected_{false};
  std::atomic<bool> stopping_{false};
  std::atomic<bool> networkDone_{false};  // networkLoop returned
  std::atomic<int> pendingStateMid_{-1};  // mid of the last queued state, -1: none
  std::atomic<int> sentMid_{-1};          // mid of the last message that left
  std::atomic<unsigned long> statesQueued_{0};
  std::atomic<unsigned long> statesSkipped_{0};
  std::atomic<unsigned long> connects_{0};
  std::mutex wakeMutex_;
  std::condition_variable wake_;
  std::string lastStateLine_;  // network thread only
};

}  // namespace ldexport

#endif  // EXPORT_MQTTOUTPUT_H_
