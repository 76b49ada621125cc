// SPDX-License-Identifier: MIT
#include "sim/tool/signals.h"

#include <cerrno>

namespace tarni::sim {
namespace {

bool is_ignored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

timespec to_timespec(std::chrono::milliseconds time) {
  timespec out{};
  out.tv_sec = static_cast<time_t>(time.count() / 1000);
  out.tv_nsec = static_cast<long>(time.count() % 1000) * 1000000;
  return out;
}

}  // namespace

Signals::Signals() {
  sigemptyset(&set_);
  for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
    if (!is_ignored(signal)) sigaddset(&set_, signal);
  }
  sigaddset(&set_, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &set_, &previous_);
  struct sigaction action {};
  // Ignored, children would be gone without a trace.
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, &pipe_action_);
}

std::optional<Signals::Caught> Signals::wait(std::optional<std::chrono::milliseconds> limit) const {
  siginfo_t info{};
  const timespec time = to_timespec(limit.value_or(std::chrono::milliseconds(0)));
  int number = 0;
  do {
    number = limit ? sigtimedwait(&set_, &info, &time) : sigwaitinfo(&set_, &info);
  } while (number < 0 && errno == EINTR);
  if (number < 0) return std::nullopt;
  return Caught{number, info.si_code == SI_KERNEL};
}

void Signals::restore() const {
  sigaction(SIGPIPE, &pipe_action_, nullptr);
  pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

}  // namespace tarni::sim
