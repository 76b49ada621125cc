// SPDX-License-Identifier: MIT
#include "sim/tool/program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "sim/tool/failure.h"
#include "sim/unique_fd.h"

namespace tarni::sim {
namespace {

[[noreturn]] void fail(const std::string& program, int error) {
  throw Failure{kCannotStart,
                "cannot start " + program + ": " + std::generic_category().message(error)};
}

std::vector<std::string> changed_environment(const Environment& changes) {
  std::vector<std::string> out;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (changes.count(text.substr(0, text.find('='))) == 0) out.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (value) out.push_back(name + "=" + *value);
  }
  return out;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> out(texts.size() + 1);  // the last one is null
  std::transform(texts.begin(), texts.end(), out.begin(), [](std::string& t) { return t.data(); });
  return out;
}

// What happens between fork and exec; no memory is allocated there, as another
// thread may hold that lock.
struct Child {
  char* const* arguments;
  char* const* environment;
  int death_signal;
  pid_t parent;
  int report_fd;

  [[noreturn]] void run(const Signals& signals) const {
    prctl(PR_SET_PDEATHSIG, death_signal);
    if (death_signal != 0 && getppid() != parent) _exit(1);
    signals.restore();
    execvpe(arguments[0], arguments, environment);
    const int error = errno;
    if (write(report_fd, &error, sizeof error) < 0) _exit(2);
    _exit(1);
  }
};

}  // namespace

std::optional<std::string> environment_variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

pid_t start_program(const ProgramOptions& options, const Signals& signals) {
  std::vector<std::string> words = options.words;
  std::vector<std::string> variables = changed_environment(options.environment);
  const std::vector<char*> arguments = pointers(words);
  const std::vector<char*> environment = pointers(variables);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail(words[0], errno);
  const UniqueFd report(ends[0]);
  UniqueFd report_end(ends[1]);
  const Child child{arguments.data(), environment.data(), options.parent_death_signal, getpid(),
                    report_end.get()};
  const pid_t pid = fork();
  if (pid < 0) fail(words[0], errno);
  if (pid == 0) child.run(signals);
  report_end = UniqueFd();
  int error = 0;
  if (read(report.get(), &error, sizeof error) != sizeof error) return pid;
  waitpid(pid, nullptr, 0);
  fail(words[0], error);
}

}  // namespace tarni::sim
