#include "tests/export/modbus/RawModbusClient.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>

namespace testsupport {

RawModbusClient::~RawModbusClient() { close(); }

bool RawModbusClient::connect(uint16_t port) {
  close();
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) return false;
  const int on = 1;
  setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close();
    return false;
  }
  return true;
}

void RawModbusClient::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

bool RawModbusClient::send(const Bytes& bytes) {
  size_t at = 0;
  while (at < bytes.size()) {
    const ssize_t sent = ::send(fd_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    at += static_cast<size_t>(sent);
  }
  return true;
}

bool RawModbusClient::receive(size_t size, Bytes* out, std::chrono::milliseconds timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  out->clear();
  while (out->size() < size) {
    if (!waitReadable(end)) return false;
    uint8_t buffer[512];
    const size_t want = std::min(sizeof buffer, size - out->size());
    const ssize_t got = recv(fd_, buffer, want, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out->insert(out->end(), buffer, buffer + got);
  }
  return true;
}

bool RawModbusClient::receiveFrame(Bytes* out, std::chrono::milliseconds timeout) {
  Bytes header;
  if (!receive(6, &header, timeout)) return false;
  const size_t rest = static_cast<size_t>(header[4] << 8 | header[5]);
  Bytes body;
  if (!receive(rest, &body, timeout)) return false;
  *out = header;
  out->insert(out->end(), body.begin(), body.end());
  return true;
}

bool RawModbusClient::closedByPeer(std::chrono::milliseconds timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (!waitReadable(end)) return false;
    uint8_t buffer[4096];
    const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
    if (got == 0) return true;
    if (got < 0 && errno != EINTR && errno != EAGAIN) return true;
  }
}

bool RawModbusClient::waitReadable(std::chrono::steady_clock::time_point end) {
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left.count())) > 0) return true;
  }
}

bool RawModbusClient::readIntegerMeterModel(std::vector<uint16_t>* registers) {
  Bytes answer;
  if (!send(readRequest(1, 40070, 107)) || !receiveFrame(&answer)) return false;
  *registers = registersOf(answer);
  return registers->size() == 107u;
}

std::vector<double> RawModbusClient::phaseVoltagesOf(const std::vector<uint16_t>& model) {
  std::vector<double> volts;
  for (size_t at = 8; at <= 10; ++at) {
    volts.push_back(static_cast<int16_t>(model[at]) * voltageStepOf(model));
  }
  return volts;
}

double RawModbusClient::voltageStepOf(const std::vector<uint16_t>& model) {
  return std::pow(10.0, static_cast<int16_t>(model[15]));
}

bool RawModbusClient::openMany(uint16_t port, int count, const Bytes& first,
                               std::vector<std::unique_ptr<RawModbusClient>>* clients) {
  for (int i = 0; i < count; ++i) {
    clients->push_back(std::make_unique<RawModbusClient>());
    if (!clients->back()->connect(port)) return false;
    if (!first.empty() && !clients->back()->send(first)) return false;
  }
  return true;
}

Bytes RawModbusClient::readRequest(uint16_t transaction, uint16_t address, uint16_t count,
                                   uint8_t unit, uint8_t function) {
  return Bytes{static_cast<uint8_t>(transaction >> 8), static_cast<uint8_t>(transaction), 0, 0, 0,
               6, unit, function, static_cast<uint8_t>(address >> 8),
               static_cast<uint8_t>(address), static_cast<uint8_t>(count >> 8),
               static_cast<uint8_t>(count)};
}

std::vector<uint16_t> RawModbusClient::registersOf(const Bytes& answer) {
  std::vector<uint16_t> registers;
  if (answer.size() < 9 || (answer[7] & 0x80) != 0) return registers;
  for (size_t at = 9; at + 1 < answer.size(); at += 2) {
    registers.push_back(static_cast<uint16_t>(answer[at] << 8 | answer[at + 1]));
  }
  return registers;
}

}  // namespace testsupport
