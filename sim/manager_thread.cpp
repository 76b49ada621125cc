// SPDX-License-Identifier: MIT
#include "sim/manager_thread.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <random>
#include <system_error>
#include <utility>

#include "sim/topology_manager.h"

namespace tarni::sim {
namespace {

constexpr int kBacklog = 128;
// Without a free descriptor, the listening socket stays readable.
constexpr std::chrono::milliseconds kAcceptPause{20};
constexpr short kInput = POLLIN | POLLHUP | POLLERR;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// The stand-in knows managers by the first part. Process numbers are not unique
// where containers share a network name space.
std::string new_address() {
  static std::atomic<unsigned> count{0};
  return "@tarni-sim-" + std::to_string(getpid()) + "-" + std::to_string(count++) + "-" +
         std::to_string(std::random_device()());
}

void bind_abstract(int fd, const std::string& address) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path + 1, address.data() + 1, address.size() - 1);
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
  if (bind(fd, reinterpret_cast<const sockaddr*>(&name), length) != 0) {  // the C idiom
    fail("cannot bind the topology manager's socket");
  }
}

timespec to_timespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  timespec out{};
  out.tv_sec = static_cast<time_t>(seconds.count());
  out.tv_nsec = static_cast<long>((time - seconds).count());
  return out;
}

}  // namespace

ManagerThread::ManagerThread()
    : address_(new_address()),
      listener_(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      stop_(eventfd(0, EFD_CLOEXEC)) {
  if (!listener_ || !stop_) fail("cannot open the topology manager's descriptors");
  bind_abstract(listener_.get(), address_);
  if (::listen(listener_.get(), kBacklog) != 0) fail("cannot listen");
  thread_ = std::thread(&ManagerThread::run, this);
}

ManagerThread::~ManagerThread() {
  const std::uint64_t one = 1;
  // An eventfd takes a one unless it is full.
  while (::write(stop_.get(), &one, sizeof one) < 0 && errno == EINTR) {
  }
  thread_.join();
}

// ---- The thread ----

void ManagerThread::run() {
  while (true) {
    const std::vector<ConnectionPtr> connections = all_connections();
    if (!wait_for_input(connections)) return;
    send_due();
  }
}

// Waits, then accepts, reads and sends what is queued. False: stop.
bool ManagerThread::wait_for_input(const std::vector<ConnectionPtr>& connections) {
  const bool accepting = Clock::now() >= accept_again_;
  std::vector<pollfd> entries{{stop_.get(), POLLIN, 0},
                              {accepting ? listener_.get() : -1, POLLIN, 0}};
  for (const ConnectionPtr& connection : connections) {
    const int events = POLLIN | (connection->has_queued() ? POLLOUT : 0);
    entries.push_back({connection->fd(), static_cast<short>(events), 0});
  }
  if (wait(entries, accepting) < 0) return errno == EINTR;
  if (entries[0].revents != 0) return false;
  if (entries[1].revents != 0) accept_connection();
  for (std::size_t i = 0; i < connections.size(); ++i) {
    const short seen = entries[i + 2].revents;
    if ((seen & POLLOUT) != 0) connections[i]->send_queued();
    if ((seen & kInput) != 0) read_from(connections[i]);
  }
  return true;
}

// ppoll, as tests have a poll of their own.
int ManagerThread::wait(std::vector<pollfd>& entries, bool accepting) const {
  auto until = accepting ? Clock::time_point::max() : accept_again_;
  if (!due_.empty()) until = std::min(until, due_.begin()->first);
  if (until == Clock::time_point::max()) {
    return ppoll(entries.data(), entries.size(), nullptr, nullptr);
  }
  const auto left = std::max(Clock::duration::zero(), until - Clock::now());
  const timespec limit = to_timespec(left);
  return ppoll(entries.data(), entries.size(), &limit, nullptr);
}

void ManagerThread::accept_connection() {
  UniqueFd fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!fd) {
    if (errno != EAGAIN && errno != EINTR) accept_again_ = Clock::now() + kAcceptPause;
    return;
  }
  const int id = ++last_id_;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    connections_.emplace(id, std::make_shared<ManagerConnection>(id, std::move(fd)));
  }
  changed_.notify_all();
}

void ManagerThread::read_from(const ConnectionPtr& connection) {
  auto messages = connection->receive();
  if (!messages) {
    forget(connection);
    return;
  }
  std::vector<ReceivedMessage> received;
  for (NetlinkMessage& message : *messages) {
    received.push_back(
        {connection->id(), message.type, message.flags, std::move(message.payload), Clock::now()});
  }
  mailbox_.add(std::move(received),
               [&](const ReceivedMessage& message) { answer(connection, message.code()); });
}

void ManagerThread::answer(const ConnectionPtr& connection, std::uint8_t code) {
  if (code == kRegisterCode) connection->registered = true;
  std::optional<Answer> answer;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = answers_.find(code);
    if (found != answers_.end()) answer = found->second;
  }
  if (!answer) return;
  if (answer->delay.count() > 0) {
    due_.emplace(Clock::now() + answer->delay, Due{connection, done_message(answer->payload)});
  } else {
    connection->answer(done_message(answer->payload));
  }
}

void ManagerThread::send_due() {
  while (!due_.empty() && due_.begin()->first <= Clock::now()) {
    const auto first = due_.begin();
    first->second.connection->answer(first->second.datagram);
    due_.erase(first);
  }
}

void ManagerThread::forget(const ConnectionPtr& connection) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    connections_.erase(connection->id());
  }
  changed_.notify_all();
}

// ---- Other threads ----

void ManagerThread::set_answer(std::uint8_t code, std::optional<Answer> answer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  answers_[code] = std::move(answer);
}

std::vector<ManagerThread::ConnectionPtr> ManagerThread::all_connections() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<ConnectionPtr> out;
  for (const auto& [id, connection] : connections_) out.push_back(connection);
  return out;
}

int ManagerThread::send(const Bytes& datagram, std::size_t count, int connection) const {
  int reached = 0;
  for (const ConnectionPtr& receiver : all_connections()) {
    const bool meant = connection == TopologyManager::kAllRegistered ? receiver->registered.load()
                                                                     : receiver->id() == connection;
    if (meant && receiver->send(datagram, count)) ++reached;
  }
  return reached;
}

void ManagerThread::hang_up() {
  const std::vector<ConnectionPtr> connections = all_connections();
  for (const ConnectionPtr& connection : connections) connection->hang_up();
  // The thread reads what is left and forgets them.
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] {
    return std::none_of(connections.begin(), connections.end(),
                        [&](const ConnectionPtr& c) { return connections_.count(c->id()) != 0; });
  });
}

std::size_t ManagerThread::connections() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return connections_.size();
}

bool ManagerThread::wait_for_connections(std::size_t count, std::chrono::milliseconds limit) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, limit, [&] { return connections_.size() == count; });
}

}  // namespace tarni::sim
