// The Modbus TCP server: one thread with non-blocking sockets and epoll,
// answering read requests from the newest image of an ImageExchange.
//
// Each connection has bounded input and output buffers. Requests are answered
// in the order they arrive, each wholly from one image. A malformed header
// closes that connection only. A connection whose answers are not being read
// (the kernel's send buffer and then its own output buffer full while a
// request waits) is closed; so is one that sent no request for idleTimeout.
// When maxClients connections are open, a new one is admitted by closing the
// longest-idle one. Nothing allocates after start().
//
// Thread-safety: start() and stop() from one controlling thread; the server's
// own thread is the ImageExchange's only reader.
#ifndef EXPORT_MODBUS_MODBUSSERVER_H_
#define EXPORT_MODBUS_MODBUSSERVER_H_

#include <stddef.h>
#include <stdint.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/Status.h"
#include "export/modbus/ImageExchange.h"
#include "export/modbus/MbapFrame.h"

namespace modbus {

struct ModbusServerOptions {
  std::string host;     // "" for every address
  uint16_t port = 502;  // 0: any free port (see ModbusServer::port())
  uint8_t unit = 1;
  int maxClients = 16;
  std::chrono::milliseconds idleTimeout{60000};
};

class ModbusServer {
 public:
  ModbusServer(ImageExchange* images, const ModbusServerOptions& options);
  ~ModbusServer();  // stop()
  ModbusServer(const ModbusServer&) = delete;
  ModbusServer& operator=(const ModbusServer&) = delete;

  // Binds and listens, then starts the server's thread.
  base::Status start();
  // Ends the thread and closes the listening socket and every connection.
  void stop();
  // The port listened on (after start()).
  uint16_t port() const { return boundPort_; }
  // Connections open now (approximate while running; for tests and figures).
  int openConnections() const { return open_.load(std::memory_order_relaxed); }

 private:
  static constexpr size_t kInputCapacity = 2 * kMaxFrameSize;
  static constexpr size_t kOutputCapacity = 8 * kMaxAnswerSize;

  // The buffers live apart from the slots, in one block allocated at start
  // and left untouched (so not resident) until a connection uses them.
  struct Connection {
    int fd = -1;
    int64_t lastRequestMs = 0;
    size_t inSize = 0;
    size_t outStart = 0;
    size_t outSize = 0;
    uint8_t* in = nullptr;   // kInputCapacity bytes
    uint8_t* out = nullptr;  // kOutputCapacity bytes
  };

  base::Status listenOn();
  void run();
  void acceptAll(int64_t nowMs);
  Connection* freeSlot();
  void service(Connection* connection, int64_t nowMs);
  bool answerPending(Connection* connection);
  bool flush(Connection* connection, bool* blocked);
  void closeConnection(Connection* connection);
  void closeIdle(int64_t nowMs);

  ImageExchange* images_;
  ModbusServerOptions options_;
  std::vector<Connection> connections_;
  std::unique_ptr<uint8_t[]> buffers_;
  int listenFd_ = -1;
  int epollFd_ = -1;
  int stopFd_ = -1;
  uint16_t boundPort_ = 0;
  std::atomic<int> open_{0};
  std::thread thread_;
};

}  // namespace modbus

#endif  // EXPORT_MODBUS_MODBUSSERVER_H_
