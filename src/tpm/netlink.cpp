// SPDX-License-Identifier: MIT
#include "tpm/netlink.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <string>

#include <netlink/errno.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>

#include "base/log.h"
#include "tpm/protocol.h"

namespace tarni::tpm {
namespace {

constexpr int kSendFlags = NLM_F_REQUEST | NLM_F_MULTI;
constexpr int kReceiveBufferBytes = 1 << 20;

// A failure is not reported: the socket works without the option, only less well.
bool set_option(int fd, int level, int option, int value) {
  return setsockopt(fd, level, option, &value, sizeof(value)) == 0;
}

}  // namespace

void log_nl_error(int code) {
  log("[UDF] libnl's message: %s\n", nl_geterror(code));
}

void log_nl_failure(const char* operation, int code) {
  log("[UDF] %s() threw errcode %d.\n", operation, code);
  log_nl_error(code);
}

int send_payload(nl_sock* socket, const void* payload, std::size_t size) {
  // libnl asks for a payload that it may write to.
  std::string copy(static_cast<const char*>(payload), size);
  const int result =
      socket ? nl_send_simple(socket, TPM_MSG_TYPE, kSendFlags, copy.data(), copy.size())
             : -NLE_BAD_SOCK;
  if (result < 0) log_nl_failure("nl_send_simple", result);
  return result;
}

void prepare_for_floods(int fd) {
  // Once a full buffer has lost a message, the kernel reports an error state
  // together with every readable state until somebody reads, and the wait reads
  // only where there is no error: it would spin for good.
  set_option(fd, SOL_NETLINK, NETLINK_NO_ENOBUFS, 1);
  // libnl's default holds under a hundred notifications.
  if (!set_option(fd, SOL_SOCKET, SO_RCVBUFFORCE, kReceiveBufferBytes)) {
    set_option(fd, SOL_SOCKET, SO_RCVBUF, kReceiveBufferBytes);
  }
  // A foreign message that is marked as one of several makes libnl read on, and
  // nothing would wake it from that.
  fcntl(fd, F_SETFL, O_NONBLOCK);
}

}  // namespace tarni::tpm
