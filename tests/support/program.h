// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "support/captured_stream.h"

namespace tarni::test {

// What a line of the shell runs, with its standard output and standard error in one
// pipe, which ends with the last process that has inherited it.
class Program {
 public:
  explicit Program(const std::string& command) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], 1);
      dup2(ends[1], 2);
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
  }
  ~Program() { static_cast<void>(fclose(output_)); }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  std::string rest(int until = EOF) {
    std::string text;
    for (int c; (c = fgetc(output_)) != EOF && c != until;) text += static_cast<char>(c);
    return text;
  }
  std::string line() { return rest('\n'); }
  void send(int signal) { kill(pid_, signal); }
  // Waits until the program cannot write: one line fills a pipe of one page.
  bool gets_stuck() {
    fcntl(fileno(output_), F_SETPIPE_SZ, 4096);
    int bytes = 0;
    return eventually([&] { return ioctl(fileno(output_), FIONREAD, &bytes) == 0 && bytes > 0; });
  }
  // The exit status, or 128 and the number of the signal that ended it.
  int status() {
    int status = 0;
    waitpid(pid_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_;
  FILE* output_;
};

}  // namespace tarni::test
