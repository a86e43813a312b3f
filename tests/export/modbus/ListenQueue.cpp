#include "tests/export/modbus/ListenQueue.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace testsupport {
namespace {

struct DiagRequest {
  nlmsghdr header;
  inet_diag_req_v2 body;
};

bool sendRequest(int fd) {
  DiagRequest request;
  memset(&request, 0, sizeof request);
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.body.sdiag_family = AF_INET;
  request.body.sdiag_protocol = IPPROTO_TCP;
  request.body.idiag_states = 1u << 10;  // TCP_LISTEN
  sockaddr_nl kernel;
  memset(&kernel, 0, sizeof kernel);
  kernel.nl_family = AF_NETLINK;
  return sendto(fd, &request, sizeof request, 0, reinterpret_cast<sockaddr*>(&kernel),
                sizeof kernel) == static_cast<ssize_t>(sizeof request);
}

// Reads the dump of every IPv4 listener to its end (without a filter program
// the kernel ignores the request's ports) and keeps the one on port.
ListenQueueLookup readAnswers(int fd, uint16_t port, ListenQueue* queue) {
  alignas(nlmsghdr) char buffer[16384];
  ListenQueueLookup result = ListenQueueLookup::kNotListening;
  for (;;) {
    const ssize_t got = recv(fd, buffer, sizeof buffer, 0);
    if (got <= 0) return ListenQueueLookup::kUnsupported;
    size_t left = static_cast<size_t>(got);
    for (nlmsghdr* message = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(message, left);
         message = NLMSG_NEXT(message, left)) {
      if (message->nlmsg_type == NLMSG_DONE) return result;
      if (message->nlmsg_type == NLMSG_ERROR) return ListenQueueLookup::kUnsupported;
      if (message->nlmsg_len < NLMSG_LENGTH(sizeof(inet_diag_msg))) continue;
      const inet_diag_msg* socket = static_cast<const inet_diag_msg*>(NLMSG_DATA(message));
      if (ntohs(socket->id.idiag_sport) != port) continue;
      queue->limit = socket->idiag_wqueue;
      result = ListenQueueLookup::kFound;
    }
  }
}

}  // namespace

ListenQueueLookup lookUpListenQueue(uint16_t port, ListenQueue* queue) {
  const int fd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (fd < 0) return ListenQueueLookup::kUnsupported;
  timeval timeout{2, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  const ListenQueueLookup result =
      sendRequest(fd) ? readAnswers(fd, port, queue) : ListenQueueLookup::kUnsupported;
  close(fd);
  return result;
}

}  // namespace testsupport
