// A unix datagram socket standing in for the service manager's notify socket
// (NOTIFY_SOCKET): the daemon's READY=1, WATCHDOG=1 and STOPPING=1 datagrams are
// read from it with deadlines.
//
// Thread-safety: one thread at a time.
#ifndef TESTS_DAEMON_NOTIFYSOCKET_H_
#define TESTS_DAEMON_NOTIFYSOCKET_H_

#include <string>
#include <vector>

namespace daemontest {

class NotifySocket {
 public:
  // Binds a socket at path; the socket file is removed again by the destructor.
  explicit NotifySocket(const std::string& path);
  ~NotifySocket();
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  bool bound() const { return bound_; }
  // Next datagram, or "" when none arrives within timeout_ms.
  std::string receive(int timeout_ms);
  // Reads until message arrives or timeout_ms pass; the messages read before
  // it go to *before.
  bool receiveUntil(const std::string& message, int timeout_ms, std::vector<std::string>* before);

 private:
  std::string path_;
  int fd_ = -1;
  bool bound_ = false;
};

}  // namespace daemontest

#endif  // TESTS_DAEMON_NOTIFYSOCKET_H_
