#include "export/modbus/ModbusServer.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

namespace modbus {
namespace {

constexpr uint64_t kListenTag = 0;
constexpr uint64_t kStopTag = 1;
constexpr uint64_t kFirstConnectionTag = 2;
constexpr int kSweepMs = 1000;
// The accept queue holds what arrives while the server thread is not running.
// A connection that finds it full has its handshake dropped and retried by the
// client's kernel a second later, so a burst of clients (a SCADA system
// reconnecting its pollers, a hundred idle sockets) must fit whole; the kernel
// caps it at net.core.somaxconn.
constexpr int kBacklog = SOMAXCONN;
constexpr uint8_t kServerDeviceBusy = 6;

int64_t monotonicMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Exception 6 while no image has been published yet.
size_t answerBusy(const uint8_t* frame, uint8_t* out) {
  memcpy(out, frame, 2);
  out[2] = 0;
  out[3] = 0;
  out[4] = 0;
  out[5] = 3;
  out[6] = frame[6];
  out[7] = static_cast<uint8_t>(frame[kMbapHeaderSize] | 0x80);
  out[8] = kServerDeviceBusy;
  return 9;
}

base::Status bindSocket(const std::string& host, uint16_t port, int* fdOut) {
  addrinfo hints;
  memset(&hints, 0, sizeof hints);
  hints.ai_family = host.empty() ? AF_INET6 : AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  const std::string service = std::to_string(port);
  addrinfo* found = nullptr;
  int rc = getaddrinfo(host.empty() ? nullptr : host.c_str(), service.c_str(), &hints, &found);
  if (rc != 0 && host.empty()) {  // no IPv6 here: every IPv4 address
    hints.ai_family = AF_INET;
    rc = getaddrinfo(nullptr, service.c_str(), &hints, &found);
  }
  const std::string subject = (host.empty() ? std::string("*") : host) + ":" + service;
  if (rc != 0) return base::Status::Error(subject, std::string("address: ") + gai_strerror(rc));
  int lastErrno = 0;
  const char* lastStep = "bind";
  for (addrinfo* a = found; a != nullptr; a = a->ai_next) {
    const int fd = socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
      lastErrno = errno;
      lastStep = "socket";
      continue;
    }
    const int on = 1, off = 0;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (a->ai_family == AF_INET6 && host.empty()) {
      setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    }
    if (bind(fd, a->ai_addr, a->ai_addrlen) == 0 && listen(fd, kBacklog) == 0) {
      freeaddrinfo(found);
      *fdOut = fd;
      return base::Status::Ok();
    }
    lastErrno = errno;
    lastStep = "bind";
    close(fd);
  }
  freeaddrinfo(found);
  return base::Status::Error(subject, lastStep, lastErrno);
}

}  // namespace

ModbusServer::ModbusServer(ImageExchange* images, const ModbusServerOptions& options)
    : images_(images), options_(options) {}

ModbusServer::~ModbusServer() { stop(); }

base::Status ModbusServer::listenOn() {
  base::Status status = bindSocket(options_.host, options_.port, &listenFd_);
  if (!status.ok()) return status;
  sockaddr_storage address;
  socklen_t length = sizeof address;
  if (getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    boundPort_ =
        ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&address)->sin6_port
                                            : reinterpret_cast<sockaddr_in*>(&address)->sin_port);
  }
  return base::Status::Ok();
}

base::Status ModbusServer::start() {
  if (options_.maxClients < 1) return base::Status::Error("modbus", "no client allowed");
  base::Status status = listenOn();
  if (!status.ok()) return status;
  const size_t slots = static_cast<size_t>(options_.maxClients);
  connections_ = std::vector<Connection>(slots);
  buffers_.reset(new uint8_t[slots * (kInputCapacity + kOutputCapacity)]);
  for (size_t i = 0; i < slots; ++i) {
    connections_[i].in = buffers_.get() + i * (kInputCapacity + kOutputCapacity);
    connections_[i].out = connections_[i].in + kInputCapacity;
  }
  epollFd_ = epoll_create1(EPOLL_CLOEXEC);
  stopFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (epollFd_ < 0 || stopFd_ < 0) {
    const int error = errno;
    stop();
    return base::Status::Error("modbus", "epoll", error);
  }
  epoll_event event;
  event.events = EPOLLIN;
  event.data.u64 = kListenTag;
  epoll_ctl(epollFd_, EPOLL_CTL_ADD, listenFd_, &event);
  event.data.u64 = kStopTag;
  epoll_ctl(epollFd_, EPOLL_CTL_ADD, stopFd_, &event);
  thread_ = std::thread([this] { run(); });
  return base::Status::Ok();
}

void ModbusServer::stop() {
  if (thread_.joinable()) {
    const uint64_t one = 1;
    if (write(stopFd_, &one, sizeof one) < 0) {
      // The counter cannot overflow with one write; nothing else can fail here.
    }
    thread_.join();
  }
  for (Connection& connection : connections_) closeConnection(&connection);
  for (int* fd : {&listenFd_, &epollFd_, &stopFd_}) {
    if (*fd >= 0) close(*fd);
    *fd = -1;
  }
}

void ModbusServer::run() {
  epoll_event events[64];
  int64_t lastSweep = monotonicMs();
  for (;;) {
    const int count = epoll_wait(epollFd_, events, 64, kSweepMs);
    const int64_t now = monotonicMs();
    for (int i = 0; i < count; ++i) {
      const uint64_t tag = events[i].data.u64;
      if (tag == kStopTag) return;
      if (tag == kListenTag) {
        acceptAll(now);
        continue;
      }
      Connection* connection = &connections_[tag - kFirstConnectionTag];
      if (connection->fd >= 0) service(connection, now);
    }
    if (now - lastSweep >= kSweepMs) {
      closeIdle(now);
      lastSweep = now;
    }
  }
}

ModbusServer::Connection* ModbusServer::freeSlot() {
  Connection* idlest = nullptr;
  for (Connection& connection : connections_) {
    if (connection.fd < 0) return &connection;
    if (idlest == nullptr || connection.lastRequestMs < idlest->lastRequestMs) idlest = &connection;
  }
  closeConnection(idlest);
  return idlest;
}

void ModbusServer::acceptAll(int64_t nowMs) {
  for (;;) {
    const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;  // EAGAIN, or a connection that went away meanwhile
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Connection* connection = freeSlot();
    connection->fd = fd;
    connection->lastRequestMs = nowMs;
    connection->inSize = 0;
    connection->outStart = 0;
    connection->outSize = 0;
    open_.fetch_add(1, std::memory_order_relaxed);
    epoll_event event;
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    event.data.u64 = kFirstConnectionTag + static_cast<uint64_t>(connection - connections_.data());
    if (epoll_ctl(epollFd_, EPOLL_CTL_ADD, fd, &event) != 0) {
      closeConnection(connection);
      continue;
    }
    service(connection, nowMs);
  }
}

// Answers every complete request that the output buffer has room for. Returns
// false when the connection was closed (a malformed header).
bool ModbusServer::answerPending(Connection* c) {
  for (;;) {
    const FrameSpan span = findFrame(c->in, c->inSize);
    if (span.check == FrameCheck::kMalformed) {
      closeConnection(c);
      return false;
    }
    if (span.check == FrameCheck::kIncomplete) return true;
    if (c->outStart + c->outSize + kMaxAnswerSize > kOutputCapacity) {
      memmove(c->out, c->out + c->outStart, c->outSize);
      c->outStart = 0;
      if (c->outSize + kMaxAnswerSize > kOutputCapacity) return true;
    }
    uint8_t* out = c->out + c->outStart + c->outSize;
    const RegisterImage* image = images_->latest();  // one image per request
    c->outSize += image != nullptr ? answerFrame(c->in, span.size, options_.unit, *image, out)
                                   : answerBusy(c->in, out);
    c->inSize -= span.size;
    memmove(c->in, c->in + span.size, c->inSize);
  }
}

// Sends what the output buffer holds. False when the connection failed.
bool ModbusServer::flush(Connection* c, bool* blocked) {
  *blocked = false;
  while (c->outSize > 0) {
    const ssize_t sent = send(c->fd, c->out + c->outStart, c->outSize, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      c->outStart += static_cast<size_t>(sent);
      c->outSize -= static_cast<size_t>(sent);
      continue;
    }
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      *blocked = true;
      return true;
    }
    return false;
  }
  c->outStart = 0;
  return true;
}

void ModbusServer::service(Connection* c, int64_t nowMs) {
  for (;;) {
    if (!answerPending(c)) return;
    bool blocked = false;
    if (!flush(c, &blocked)) {
      closeConnection(c);
      return;
    }
    if (findFrame(c->in, c->inSize).check == FrameCheck::kComplete) {
      // Requests wait for room in the output buffer: go on while sending made
      // some; with the kernel's buffer and ours full, its answers are not being
      // read.
      if (!blocked || c->outSize + kMaxAnswerSize <= kOutputCapacity) continue;
      closeConnection(c);
      return;
    }
    const ssize_t received = recv(c->fd, c->in + c->inSize, kInputCapacity - c->inSize, 0);
    if (received > 0) {
      c->inSize += static_cast<size_t>(received);
      c->lastRequestMs = nowMs;
      continue;
    }
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
    closeConnection(c);  // end of stream or error
    return;
  }
}

void ModbusServer::closeConnection(Connection* c) {
  if (c == nullptr || c->fd < 0) return;
  close(c->fd);  // also removes it from the epoll set
  c->fd = -1;
  c->inSize = 0;
  c->outStart = 0;
  c->outSize = 0;
  open_.fetch_sub(1, std::memory_order_relaxed);
}

void ModbusServer::closeIdle(int64_t nowMs) {
  for (Connection& connection : connections_) {
    if (connection.fd >= 0 && nowMs - connection.lastRequestMs >= options_.idleTimeout.count()) {
      closeConnection(&connection);
    }
  }
}

}  // namespace modbus
