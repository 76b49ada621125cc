// SPDX-License-Identifier: MIT
#include "signals.h"

#include <errno.h>
#include <string.h>
#include <sys/signalfd.h>

#include <string>

#include "failure.h"

namespace tarni::cli {
namespace {

bool ignored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Signals::Signals() {
  sigemptyset(&set_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (!ignored(signal)) sigaddset(&set_, signal);
  pthread_sigmask(SIG_BLOCK, &set_, nullptr);
  fd_ = UniqueFd(signalfd(-1, &set_, SFD_CLOEXEC | SFD_NONBLOCK));
  if (fd_.get() < 0) throw Failure{kFailed, std::string("no signals: ") + strerror(errno)};
}

void Signals::die() const {
  // Their default action is to end the process, and one of them is pending.
  pthread_sigmask(SIG_UNBLOCK, &set_, nullptr);
  for (;;) pause();
}

}  // namespace tarni::cli
