#include "tests/daemon/NotifySocket.h"

#include <poll.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>

namespace daemontest {

NotifySocket::NotifySocket(const std::string& path) : path_(path) {
  fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
  bound_ = bind(fd_, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0;
}

NotifySocket::~NotifySocket() {
  if (fd_ >= 0) close(fd_);
  unlink(path_.c_str());
}

std::string NotifySocket::receive(int timeout_ms) {
  struct pollfd wait = {fd_, POLLIN, 0};
  if (poll(&wait, 1, timeout_ms) != 1) return "";
  char buffer[256];
  ssize_t length = recv(fd_, buffer, sizeof buffer, 0);
  return length > 0 ? std::string(buffer, static_cast<size_t>(length)) : "";
}

bool NotifySocket::receiveUntil(const std::string& message, int timeout_ms,
                                std::vector<std::string>* before) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  while (Clock::now() < deadline) {
    int left = static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
    std::string got = receive(left > 0 ? left : 0);
    if (got == message) return true;
    if (!got.empty()) before->push_back(got);
  }
  return false;
}

}  // namespace daemontest
