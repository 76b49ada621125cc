// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "finder/ifinder.h"

struct nl_msg;
struct nl_sock;
struct nlmsgerr;
struct sockaddr_nl;

namespace tarni {

// The client of the kernel's USB topology manager: registers over a raw netlink
// socket, waits for notifications, publishes each as an event and acknowledges
// it, and asks for the current draw. Owned by one finder.
//
// Threads: one thread waits on a socket, and runs the receive callback while it
// does (during init an asynchronous one, afterwards the finder's listening
// thread). get_total_currentdraw may be called from any thread, disconnect from
// any one thread.
//
// Shutdown. Closing a finder may catch the waiting thread anywhere: in poll,
// inside libnl, about to acknowledge. So the socket is shared. Each wait takes a
// reference of its own before it asks for the descriptor, and acknowledges through
// that reference; a query does the same. disconnect first fires the eventfd and
// then gives up the client's reference.
//  - No wait uses a freed or closed socket: the last reference closes it, and a
//    wait that runs holds one.
//  - No wait polls a descriptor that was closed and given to something else: it
//    takes the descriptor from the socket that it holds.
//  - No wait uses a null socket: one that starts too late to get a reference
//    polls the eventfd alone, which fired before the reference went, and returns.
//  - The wait ends promptly: the eventfd stays readable for good, and a wait that
//    is reading reads one batch, from a descriptor that never blocks. (libnl reads
//    on while foreign messages marked as several keep coming without a gap.)
// `sock` is read and replaced by the atomic operations for shared pointers, so
// that no lock is held across a wait. Destruction needs all other callers gone.
//
// A second init after a successful one ends the process in the finder. It must get
// as far as that, so init brings its socket up in `new_sock`, where the listening
// thread does not take the answer away; and should it fail instead, the listening
// thread can still be woken: the eventfd that it waits on is kept.
class FinderTPMgr : public IFinder {
 public:
  explicit FinderTPMgr(int protocol);
  ~FinderTPMgr() override;

  int init(std::shared_ptr<Publisher> pub) override;
  int wait_for_status_change() override;
  int disconnect() override;
  int get_total_currentdraw() override;

 private:
  using SharedSocket = std::shared_ptr<nl_sock>;

  int open_terminator();
  int prepare_socket();
  int connect();
  int register_with_topologymgr();
  int timed_wait_for_topologymanager(int seconds);
  int wait_for_topologymgr(SharedSocket socket);
  bool wait_pass(nl_sock* socket);
  int query_currentdraw();
  void close_terminator();

  static void read_batch(nl_sock* socket);
  static int nl_cb_wrapper(nl_msg* msg, void* arg);
  static int nl_err_cb_wrapper(sockaddr_nl* address, nlmsgerr* error, void* arg);
  int receive_msg_callback(nl_msg* msg);
  int message_parser(char* in, char* out);
  void take_currentdraw(const char* in);
  void store_currentdraw(int value);
  std::string construct_sys_path(char* name);

  std::shared_ptr<Publisher> publisher;  // set by init, before any thread waits
  SharedSocket sock;                     // once registered; see the class comment
  SharedSocket new_sock;                 // while init brings it up
  int nl_fd = -1;                        // of the socket that init has connected
  const int protocol;
  bool registered = false;  // set by init, before the listening thread starts
  int terminator_efd = -1;  // set by init alone, and kept once registered
  // The answer to a current-draw query, on its way from the waiting thread to the
  // one that asked. Guarded by mtx but for store_currentdraw().
  int total_currentdraw;
  std::mutex mtx;
  std::condition_variable cv;
};

}  // namespace tarni
