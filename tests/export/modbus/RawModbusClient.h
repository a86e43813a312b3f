// A Modbus TCP client over a plain loopback socket for the tests: sends any
// bytes (whole, partial or garbage frames) and reads answers with a deadline.
#ifndef TESTS_EXPORT_MODBUS_RAWMODBUSCLIENT_H_
#define TESTS_EXPORT_MODBUS_RAWMODBUSCLIENT_H_

#include <stdint.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

using Bytes = std::vector<uint8_t>;

class RawModbusClient {
 public:
  RawModbusClient() = default;
  ~RawModbusClient();
  RawModbusClient(const RawModbusClient&) = delete;
  RawModbusClient& operator=(const RawModbusClient&) = delete;

  // Connects to 127.0.0.1:port; false on failure.
  bool connect(uint16_t port);
  void close();
  int fd() const { return fd_; }

  // Sends all bytes (blocking); false on failure.
  bool send(const Bytes& bytes);
  // Reads exactly size bytes; false on timeout, error or end of stream.
  bool receive(size_t size, Bytes* out,
               std::chrono::milliseconds timeout = std::chrono::milliseconds(2000));
  // Reads one whole answer frame (header, then the rest).
  bool receiveFrame(Bytes* out,
                    std::chrono::milliseconds timeout = std::chrono::milliseconds(2000));
  // True when the server closed the connection within timeout (end of stream
  // or reset; any bytes before it are skipped).
  bool closedByPeer(std::chrono::milliseconds timeout);

  // A request for count registers from address with function 3 (or function).
  static Bytes readRequest(uint16_t transaction, uint16_t address, uint16_t count,
                           uint8_t unit = 1, uint8_t function = 3);
  // The registers of a normal read answer; empty for an exception.
  static std::vector<uint16_t> registersOf(const Bytes& answer);
  // The integer meter model (203 or 204) in one request: 107 registers from
  // 40070 of unit 1 into *registers; false on a failed exchange or an exception.
  bool readIntegerMeterModel(std::vector<uint16_t>* registers);
  // The phase voltages AN, BN and CN of an integer meter model's registers, and
  // the step of their scale factor (V_SF).
  static std::vector<double> phaseVoltagesOf(const std::vector<uint16_t>& model);
  static double voltageStepOf(const std::vector<uint16_t>& model);
  // Opens count more connections to 127.0.0.1:port into *clients, each sending
  // first (nothing when it is empty); false as soon as one fails.
  static bool openMany(uint16_t port, int count, const Bytes& first,
                       std::vector<std::unique_ptr<RawModbusClient>>* clients);

 private:
  // Waits until the socket is readable; false once end has passed.
  bool waitReadable(std::chrono::steady_clock::time_point end);

  int fd_ = -1;
};

}  // namespace testsupport

#endif  // TESTS_EXPORT_MODBUS_RAWMODBUSCLIENT_H_
