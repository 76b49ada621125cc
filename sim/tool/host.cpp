// SPDX-License-Identifier: MIT
#include "sim/tool/host.h"

#include <sys/wait.h>

#include <algorithm>

#include "sim/tool/guardian.h"
#include "sim/tool/preload.h"
#include "sim/tool/processes.h"
#include "sim/tool/program.h"

namespace tarni::sim {
namespace {

constexpr std::chrono::milliseconds kGrace{2000};
constexpr std::chrono::milliseconds kOrphanGrace{500};

}  // namespace

Host::~Host() {
  end_descendants(signals_, kOrphanGrace);
}

void Host::start(const std::string& folder) {
  const auto users_preload = environment_variable(kUsersPreloadVariable);
  ProgramOptions options;
  options.words = words_;
  options.environment = {
      {kFolderVariable, std::nullopt},
      {kUsersTmpdirVariable, std::nullopt},
      {kUsersPreloadVariable, std::nullopt},
      {"TMPDIR", environment_variable(kUsersTmpdirVariable)},
      {"LD_PRELOAD",
       preload_list(users_preload.value_or(""), {netlink_object(folder), kDevicesObject})},
  };
  options.parent_death_signal = SIGKILL;
  pid_ = start_program(options, signals_);
}

void Host::reap() {
  int status = 0;
  for (pid_t pid = waitpid(-1, &status, WNOHANG); pid > 0; pid = waitpid(-1, &status, WNOHANG)) {
    if (pid == pid_) wait_status_ = status;
  }
}

void Host::handle(const Signals::Caught& caught) {
  if (caught.number == SIGCHLD) return reap();
  interrupted_ = true;
  if (!is_running()) return;
  if (caught.number == SIGTERM || caught.number == SIGHUP) kill_at_ = Clock::now() + kGrace;
  if (!caught.by_terminal) kill(pid_, caught.number);
}

void Host::run_until(Clock::time_point time) {
  while (!has_ended()) {
    const auto until = kill_at_ ? std::min(*kill_at_, time) : time;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    const auto limit = std::max(left, std::chrono::milliseconds(0));
    if (const auto caught = signals_.wait(limit)) {
      handle(*caught);
    } else if (kill_at_ && Clock::now() >= *kill_at_) {
      kill(pid_, SIGKILL);
      kill_at_.reset();
    } else if (Clock::now() >= time) {
      return;
    }
  }
}

void Host::run_to_end() {
  while (!has_ended()) run_until(Clock::now() + std::chrono::hours(1));
}

void Host::end() {
  if (!is_running()) return;
  kill_at_ = Clock::now() + kGrace;
  kill(pid_, SIGTERM);
}

int Host::status() const {
  return shell_status(*wait_status_);
}

}  // namespace tarni::sim
