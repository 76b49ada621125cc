// SPDX-License-Identifier: MIT
#include "output.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdio>

#include "failure.h"
#include "text.h"

namespace tarni::cli {
namespace {

constexpr int kFirstFreeFd = 3;
constexpr const char* kNowhere = "/dev/null";

// A caller may have closed 0, 1 or 2. Without this, the next file that anyone
// opens, be it inside libusb, would become standard output.
void fill_standard_descriptors() {
  int fd = open(kNowhere, O_RDWR);
  while (fd >= 0 && fd < kFirstFreeFd) fd = open(kNowhere, O_RDWR);
  if (fd >= 0) close(fd);
}

UniqueFd moved_away(int fd) {
  return UniqueFd(fcntl(fd, F_DUPFD_CLOEXEC, kFirstFreeFd));
}

[[noreturn]] void fail_output() {
  throw Failure{kOutputFailed, std::string("cannot write the output: ") + strerror(errno)};
}

void replace_descriptor(int from, int to) {
  if (dup2(from, to) < 0)
    throw Failure{kFailed, std::string("cannot divert the library's log: ") + strerror(errno)};
}

std::string contents(int fd) {
  std::string text;
  char buffer[4096];
  lseek(fd, 0, SEEK_SET);
  for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(got));
  return text;
}

}  // namespace

Output::Output() : out_(moved_away(STDOUT_FILENO)), err_(moved_away(STDERR_FILENO)) {
  fill_standard_descriptors();
}

void Output::divert_library(const std::string& log_file) {
  const char* name = log_file.empty() ? kNowhere : log_file.c_str();
  const UniqueFd log(open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (log.get() < 0)
    throw Failure{kFailed, "cannot open the log file " + printable(name) + ": " + strerror(errno)};
  replace_descriptor(log.get(), STDOUT_FILENO);
  replace_descriptor(log.get(), STDERR_FILENO);
}

std::string Output::captured_errors(const std::function<void()>& call) {
  const UniqueFd log = moved_away(STDERR_FILENO);
  const UniqueFd memory(memfd_create("tarni", MFD_CLOEXEC));
  replace_descriptor(memory.get(), STDERR_FILENO);
  call();
  replace_descriptor(log.get(), STDERR_FILENO);
  return contents(memory.get());
}

void Output::wait_writable() {
  if (out_.get() < 0) {
    errno = EBADF;
    fail_output();
  }
  pollfd fds[] = {{out_.get(), POLLOUT, 0}, {interrupt_fd_, POLLIN, 0}};
  while (poll(fds, 2, -1) < 0 && errno == EINTR) {
  }
  if (fds[1].revents != 0) throw Interrupted{};
}

void Output::data(std::string_view text) {
  while (!text.empty()) {
    wait_writable();
    // No more at once than a pipe that is writable takes without blocking.
    const ssize_t written =
        write(out_.get(), text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written >= 0)
      text.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR && errno != EAGAIN)
      fail_output();
  }
}

void Output::finish() {
  // Never opened: whatever there was to say has failed already.
  if (out_.get() >= 0 && close(out_.release()) != 0) fail_output();
}

void Output::message(std::string_view text) {
  const std::string line = "tarni: " + std::string(text) + "\n";
  // Nobody is left to be told when this fails.
  if (write(err_.get(), line.data(), line.size()) < 0) return;
}

std::size_t Output::columns() const {
  winsize size{};
  if (ioctl(out_.get(), TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

}  // namespace tarni::cli
