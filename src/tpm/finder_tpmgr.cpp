// SPDX-License-Identifier: MIT
#include "tpm/finder_tpmgr.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <utility>

#include <netlink/netlink.h>
#include <netlink/socket.h>

#include "base/log.h"
#include "events/publisher.h"
#include "tpm/netlink.h"
#include "tpm/protocol.h"

namespace tarni {
namespace {

constexpr int kRegisterTimeoutS = 60;
constexpr int kPollTimeoutMs = 600000;
constexpr short kPollEvents = POLLIN | POLLERR | POLLHUP | POLLNVAL;

constexpr int CURRENT_DRAW_PENDING = -2;
constexpr int kCurrentDrawWaits = 3;
constexpr std::chrono::milliseconds kCurrentDrawWaitMs{300};

void close_socket(nl_sock* socket) {
  nl_close(socket);
  nl_socket_free(socket);
}

}  // namespace

FinderTPMgr::FinderTPMgr(int netlink_protocol)
    : protocol(netlink_protocol), total_currentdraw(CURRENT_DRAW_PENDING) {}

FinderTPMgr::~FinderTPMgr() {
  log("[UDF] ENTER FinderTPMgr: destructor\n");
  nl_fd = -1;
  new_sock.reset();
  sock.reset();
  close_terminator();
}

// A failure undoes nothing: what was opened stays until disconnect, destruction
// or another try.
int FinderTPMgr::init(std::shared_ptr<Publisher> pub) {
  // Not replaced by itself: the listening thread of an earlier init may be reading.
  if (publisher != pub) publisher = std::move(pub);
  if (open_terminator() < 0) {
    log("[UDF] FinderTPMgr::init terminator_efd creation failed! - ERROR : %d\n", terminator_efd);
    return -1;
  }
  int result = prepare_socket();
  if (result < 0) {
    log("[UDF] FinderTPMgr::init prepare_socket failed!\n");
    return result;
  }
  result = connect();
  if (result < 0) {
    log("[UDF] FinderTPMgr::init connect failed!\n");
    return result;
  }
  result = register_with_topologymgr();
  if (result < 0) {
    log("[UDF] FinderTPMgr::init register_with_topologymgr failed!\n");
    return result;
  }
  std::atomic_store(&sock, std::move(new_sock));
  if (!registered) registered = true;  // the listening thread reads it
  return result;
}

// Another try after a failure gets a new one, for the old may have fired. Once
// registered it stays, fired or not: the listening thread waits on it.
int FinderTPMgr::open_terminator() {
  if (registered) return terminator_efd;
  close_terminator();
  terminator_efd = eventfd(0, 0);
  return terminator_efd;
}

int FinderTPMgr::prepare_socket() {
  log("[UDF] Inside prepare_socket\n");
  nl_sock* socket = nl_socket_alloc();
  if (!socket) {
    log("[UDF] nl_socket_alloc() returned NULL.\n");
    return -1;
  }
  new_sock.reset(socket, close_socket);
  // Notifications answer nothing. With no check, the thread that acknowledges and
  // those that query may also share libnl's counter without a lock.
  nl_socket_disable_seq_check(socket);
  const int result =
      nl_socket_modify_cb(socket, NL_CB_FINISH, NL_CB_CUSTOM, &FinderTPMgr::nl_cb_wrapper, this);
  if (result < 0) {
    tpm::log_nl_error(result);
    log("[UDF] Could not register callback function. Errcode: %d\n", result);
  }
  return result;
}

int FinderTPMgr::connect() {
  const int result = nl_connect(new_sock.get(), protocol);
  if (result < 0) {
    log("[UDF] FinderTPMgr::connect Error: libnl's message: %s\n", nl_geterror(result));
    return result;
  }
  nl_fd = nl_socket_get_fd(new_sock.get());
  tpm::prepare_for_floods(nl_fd);
  return result;
}

int FinderTPMgr::register_with_topologymgr() {
  const int sent = tpm::send_payload(new_sock.get(), tpm::TPM_REGISTER, sizeof(tpm::TPM_REGISTER));
  if (sent < 0) return sent;
  log("[UDF] Register message send with %d bytes.\n", sent);
  const int result = timed_wait_for_topologymanager(kRegisterTimeoutS);
  if (result < 0) log("[UDF] ERROR: Register failed with timeout - Closing socket!\n");
  return result;
}

// Whatever ends the wait in time counts as success, be it the acknowledgement, a
// notification or a failed poll: topology managers do not all acknowledge first.
// So does a wait that was deferred because no thread could be had; the finder will
// then have trouble of its own with threads.
int FinderTPMgr::timed_wait_for_topologymanager(int seconds) {
  std::future<int> wait = std::async(&FinderTPMgr::wait_for_topologymgr, this, new_sock);
  if (wait.wait_for(std::chrono::seconds(seconds)) != std::future_status::timeout) return 0;
  disconnect();
  wait.get();
  return -1;
}

int FinderTPMgr::wait_for_status_change() {
  if (!registered) return -1;
  log("[UDF] TPM WAIT ENTER\n");
  const int result = wait_for_topologymgr(std::atomic_load(&sock));
  log("[UDF] TPM WAIT EXIT\n");
  return result;
}

int FinderTPMgr::wait_for_topologymgr(SharedSocket socket) {
  while (!wait_pass(socket.get())) {
  }
  return 0;
}

// Returns whether the wait is over. The netlink states are compared as a whole
// on purpose: a combination of states is none that is read from. A topology
// manager that hangs up therefore has the wait poll again and again, and log it,
// until it is disconnected; a netlink socket of the kernel does not get there.
bool FinderTPMgr::wait_pass(nl_sock* socket) {
  pollfd entries[] = {{socket ? nl_socket_get_fd(socket) : -1, kPollEvents, 0},
                      {terminator_efd, kPollEvents, 0}};
  const pollfd& netlink = entries[0];
  const pollfd& terminator = entries[1];
  log("[UDF] Going to block on POLL\n");
  const int ready = poll(entries, std::size(entries), kPollTimeoutMs);
  if (ready < 0) {
    log("[UDF] POLL failed\n");
    return true;
  }
  if (ready == 0) {
    log("[UDF] POLL timeout\n");
    return false;
  }
  log("[UDF] POLL returned - revents0 - %d, termi_revents - %d\n", netlink.revents,
      terminator.revents);
  // First, so that a shutdown goes before notifications that are waiting.
  if (terminator.revents != 0) {
    log("[UDF] Terminator fired!! check out!!\n");
    return true;
  }
  if (netlink.revents == POLLIN) {
    read_batch(socket);
    return true;
  }
  if (netlink.revents == POLLERR) {
    log("[UDF] POLLERR\n");
    return true;
  }
  return false;
}

int FinderTPMgr::query_currentdraw() {
  const SharedSocket socket = std::atomic_load(&sock);
  return tpm::send_payload(socket.get(), tpm::TPM_QUERY_CURRENT_DRAW,
                           sizeof(tpm::TPM_QUERY_CURRENT_DRAW));
}

// Waiting gives mtx up, so that another caller can set the slot back to pending
// after the answer came: that caller's query will be answered too, and this one
// now and then goes without.
int FinderTPMgr::get_total_currentdraw() {
  std::unique_lock<std::mutex> lock(mtx);
  total_currentdraw = CURRENT_DRAW_PENDING;
  if (!registered) return total_currentdraw;
  if (query_currentdraw() < 1) return total_currentdraw;
  for (int i = 0; i < kCurrentDrawWaits && total_currentdraw == CURRENT_DRAW_PENDING; ++i) {
    // The system clock: a step back while waiting makes the wait longer by as much.
    cv.wait_until(lock, std::chrono::system_clock::now() + kCurrentDrawWaitMs);
  }
  return total_currentdraw;
}

// The eventfd is never read back, so that after this every wait, the present one
// and all later ones, returns at once.
int FinderTPMgr::disconnect() {
  log("[UDF] ENTER FinderTPMgr: disconnect()\n");
  const std::uint64_t count = 1;
  const ssize_t written = write(terminator_efd, &count, sizeof(count));
  log("[UDF] Wrote to terminator with return = %d\n", static_cast<int>(written));
  nl_fd = -1;
  new_sock.reset();
  std::atomic_store(&sock, SharedSocket());
  log("[UDF] EXIT FinderTPMgr: disconnect()\n");
  return 0;
}

void FinderTPMgr::close_terminator() {
  if (terminator_efd < 0) return;
  close(terminator_efd);
  terminator_efd = -1;
}

}  // namespace tarni
