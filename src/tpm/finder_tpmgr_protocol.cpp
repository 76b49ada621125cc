// SPDX-License-Identifier: MIT
// The receiving half of the client: what runs inside libnl's read.
#include "tpm/finder_tpmgr.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include <netlink/handlers.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>

#include "base/log.h"
#include "events/event.h"
#include "events/publisher.h"
#include "tpm/netlink.h"
#include "tpm/protocol.h"

namespace tarni {
namespace {

// The socket that this thread reads from. Acknowledgements go out on it, also
// when the client has let go of it meanwhile; the pass that reads keeps it open.
thread_local nl_sock* reading_sock = nullptr;

constexpr std::size_t kReplySize = 16;
constexpr int CURRENT_DRAW_FAILED = -1;
constexpr char kSysfsDevices[] = "/sys/bus/usb/devices/";

unsigned char byte_at(const char* payload, std::size_t offset) {
  return static_cast<unsigned char>(payload[offset]);
}

int big_endian_32(const char* payload, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < sizeof(value); ++i) value = value << 8 | byte_at(payload, offset + i);
  return static_cast<int>(value);
}

const tpm::Notification* find_notification(unsigned char code) {
  const auto found =
      std::find_if(std::begin(tpm::kNotifications), std::end(tpm::kNotifications),
                   [code](const tpm::Notification& known) { return known.code == code; });
  return found == std::end(tpm::kNotifications) ? nullptr : found;
}

void log_notification(const tpm::Notification& notification, const char* name, long port) {
  if (notification.has_port) {
    log("[UDF] %s %s%s, portnum = %ld\n", notification.log_text, kSysfsDevices, name, port);
  } else {
    log("[UDF] %s %s%s\n", notification.log_text, kSysfsDevices, name);
  }
}

}  // namespace

void FinderTPMgr::read_batch(nl_sock* socket) {
  log("[UDF] Waiting for topology manager request...\n");
  reading_sock = socket;
  const int result = nl_recvmsgs_default(socket);
  if (result < 0) tpm::log_nl_failure("nl_recvmsgs_default", result);
}

int FinderTPMgr::nl_cb_wrapper(nl_msg* msg, void* arg) {
  return static_cast<FinderTPMgr*>(arg)->receive_msg_callback(msg);
}

// Not installed: libnl's own handling of netlink errors ends a read with their
// code, which the wait logs.
int FinderTPMgr::nl_err_cb_wrapper(sockaddr_nl*, nlmsgerr*, void*) {
  log("[UDF] FinderTPMgr : Inside nl ERROR callback\n");
  return NL_STOP;
}

int FinderTPMgr::receive_msg_callback(nl_msg* msg) {
  log("[UDF] FinderTPMgr : Inside nl recv callback\n");
  nlmsghdr* header = nlmsg_hdr(msg);
  // The parser does not look at lengths. In this copy a name without its
  // terminator ends where the message does, and missing fields read as zero.
  std::string payload(static_cast<const char*>(nlmsg_data(header)),
                      static_cast<std::size_t>(nlmsg_datalen(header)));
  payload.append(tpm::kFixedFieldsEnd, '\0');
  char reply[kReplySize] = {};
  const int size = message_parser(payload.data(), reply);
  if (size >= 1) tpm::send_payload(reading_sock, reply, static_cast<std::size_t>(size));
  return NL_OK;
}

int FinderTPMgr::message_parser(char* in, char* out) {
  out[0] = 0;
  const auto event = std::make_shared<Event>();
  const unsigned char code = byte_at(in, tpm::kCodeOffset);
  if (const tpm::Notification* notification = find_notification(code)) {
    char* name = in + (notification->has_port ? tpm::kHubNameOffset : tpm::kNameOffset);
    log_notification(*notification, name, byte_at(in, tpm::kPortOffset));
    // The first byte of an acknowledgement happens to be its length too.
    out[0] = tpm::kFirstByte;
    out[1] = static_cast<char>(code + tpm::TPM_ACK_FLAG);
    event->type = notification->type;
    event->path = construct_sys_path(name);
    publisher->publish(event);
  } else if (code == tpm::kRegisterAck) {
    log("[UDF] KLAV_usb_tpm: Register ack received \n");
  } else if (code == tpm::kCurrentDrawAck) {
    take_currentdraw(in);
  } else {
    log("[UDF] KLAV_usb_tpm: unrecognized notification\n");
  }
  return out[0];
}

void FinderTPMgr::take_currentdraw(const char* in) {
  log("[UDF] KLAV_usb_tpm: Current draw ACK received\n");
  if (byte_at(in, tpm::kStatusOffset) == 0) {
    const int total = big_endian_32(in, tpm::kTotalOffset);
    store_currentdraw(total);
    log("[UDF] KLAV_usb_tpm: Total Current draw reported : %d\n", total);
  } else {
    store_currentdraw(CURRENT_DRAW_FAILED);
  }
  cv.notify_one();
}

// Without mtx on purpose, so that the waiting thread never waits for a caller. A
// wake-up that falls between a caller's look at the slot and its wait is made up
// for by that wait's 300 ms limit.
void FinderTPMgr::store_currentdraw(int value) {
  total_currentdraw = value;
}

std::string FinderTPMgr::construct_sys_path(char* name) {
  return std::string(kSysfsDevices) + std::string(name);
}

}  // namespace tarni
