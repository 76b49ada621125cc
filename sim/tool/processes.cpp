// SPDX-License-Identifier: MIT
#include "sim/tool/processes.h"

#include <dirent.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace tarni::sim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{20};
// Processes that may not be killed, such as another user's, are let go then.
constexpr std::chrono::seconds kPatience{5};

// 0 for what is no number.
pid_t to_pid(const char* text) {
  return static_cast<pid_t>(std::strtol(text, nullptr, 10));
}

// 0 for a process that is gone.
pid_t parent_of(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  // "7 (name) S 1 ...", and the name can be anything.
  const std::size_t name_end = text.rfind(')');
  if (name_end == std::string::npos || name_end + 4 > text.size()) return 0;
  return to_pid(text.c_str() + name_end + 4);
}

std::multimap<pid_t, pid_t> children_by_parent() {
  std::multimap<pid_t, pid_t> out;
  const std::unique_ptr<DIR, int (*)(DIR*)> proc(opendir("/proc"), closedir);
  if (!proc) return out;
  while (const dirent* entry = readdir(proc.get())) {
    const pid_t pid = to_pid(entry->d_name);
    if (pid > 0) out.emplace(parent_of(pid), pid);
  }
  return out;
}

void collect_below(pid_t pid, const std::multimap<pid_t, pid_t>& children, std::set<pid_t>& out) {
  const auto [begin, end] = children.equal_range(pid);
  for (auto child = begin; child != end; ++child) {
    if (out.insert(child->second).second) collect_below(child->second, children, out);
  }
}

void signal_descendants(int signal) {
  std::set<pid_t> pids;
  collect_below(getpid(), children_by_parent(), pids);
  for (const pid_t pid : pids) {
    kill(pid, signal);
    kill(pid, SIGCONT);  // one that is stopped takes no other
  }
}

// False when there are no children any more.
bool reap() {
  pid_t pid = 0;
  do {
    pid = waitpid(-1, nullptr, WNOHANG);
  } while (pid > 0);
  return pid == 0;
}

}  // namespace

void adopt_orphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

int shell_status(int wait_status) {
  return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

void end_descendants(const Signals& signals, std::chrono::milliseconds grace) {
  if (!reap()) return;
  signal_descendants(SIGTERM);
  const auto kill_from = Clock::now() + grace;
  const auto give_up = kill_from + kPatience;
  while (reap() && Clock::now() < give_up) {
    // Again and again: there can be new ones.
    if (Clock::now() >= kill_from) signal_descendants(SIGKILL);
    signals.wait(kLook);
  }
}

}  // namespace tarni::sim
