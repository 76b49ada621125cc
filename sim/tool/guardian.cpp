// SPDX-License-Identifier: MIT
#include "sim/tool/guardian.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>

#include "sim/tool/failure.h"
#include "sim/tool/preload.h"
#include "sim/tool/processes.h"
#include "sim/tool/program.h"
#include "sim/tool/temporary_folder.h"

namespace tarni::sim {
namespace {

constexpr std::chrono::milliseconds kGrace{1000};
// Longer than the machine leaves its program.
constexpr std::chrono::seconds kMachineGrace{5};

pid_t start_machine(char** argv, const std::string& folder, const Signals& signals) {
  ProgramOptions options;
  options.words = {"/proc/self/exe"};
  for (char** word = argv + 1; *word != nullptr; ++word) options.words.emplace_back(*word);
  options.environment = {
      {kFolderVariable, folder},
      {kUsersTmpdirVariable, environment_variable("TMPDIR")},
      {kUsersPreloadVariable, environment_variable("LD_PRELOAD")},
      {"TMPDIR", folder},
      {"LD_PRELOAD",
       preload_list(environment_variable("LD_PRELOAD").value_or(""), {kDevicesObject})},
  };
  options.parent_death_signal = SIGTERM;
  return start_program(options, signals);
}

// The wait status of a child that has ended; orphans are reaped on the way.
std::optional<int> reap(pid_t awaited) {
  int status = 0;
  for (pid_t pid = waitpid(-1, &status, WNOHANG); pid > 0; pid = waitpid(-1, &status, WNOHANG)) {
    if (pid == awaited) return status;
  }
  return std::nullopt;
}

// Passes signals on until the machine has ended; returns its wait status.
int wait_for(pid_t machine, const Signals& signals) {
  std::optional<std::chrono::milliseconds> limit;
  while (true) {
    const auto caught = signals.wait(limit);
    if (const auto status = reap(machine)) return *status;
    if (!caught) {
      kill(machine, SIGKILL);
    } else if (caught->number != SIGCHLD && !caught->by_terminal) {
      kill(machine, caught->number);
    }
    if (caught && (caught->number == SIGTERM || caught->number == SIGHUP)) limit = kMachineGrace;
  }
}

}  // namespace

int guard(char** argv, const Signals& signals) {
  const TemporaryFolder folder;
  adopt_orphans();
  const int status = wait_for(start_machine(argv, folder.path(), signals), signals);
  end_descendants(signals, kGrace);
  if (!WIFSIGNALED(status)) return WEXITSTATUS(status);
  throw Failure{kMachineFailed,
                "the simulated machine was ended by signal " + std::to_string(WTERMSIG(status))};
}

}  // namespace tarni::sim
