// The accept queue of a listening TCP socket as the kernel reports it
// (NETLINK_SOCK_DIAG, the interface behind `ss -l`): how many connections it
// may hold.
#ifndef TESTS_EXPORT_MODBUS_LISTENQUEUE_H_
#define TESTS_EXPORT_MODBUS_LISTENQUEUE_H_

#include <stdint.h>

namespace testsupport {

struct ListenQueue {
  uint32_t limit = 0;  // the listen() backlog, after the kernel's cap
};

enum class ListenQueueLookup { kFound, kNotListening, kUnsupported };

// Looks up the IPv4 socket listening on port. kUnsupported when the
// kernel (or an emulator in between) offers no sock_diag netlink socket.
// Thread-safe: uses a socket of its own.
ListenQueueLookup lookUpListenQueue(uint16_t port, ListenQueue* queue);

}  // namespace testsupport

#endif  // TESTS_EXPORT_MODBUS_LISTENQUEUE_H_
