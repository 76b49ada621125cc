// SPDX-License-Identifier: MIT
// tarni: USB devices and topology events on the command line.
#include <signal.h>

#include <exception>

#include "command_line.h"
#include "failure.h"
#include "output.h"
#include "text.h"
#include "tree.h"

namespace {

using namespace tarni::cli;

int run(int argc, char** argv, Output& output) {
  const Options options = read_command_line(argc, argv, output);
  int status = kSuccess;
  if (options.command != nullptr) {
    output.divert_library(options.log_file);
    status = options.command(output, options);
  }
  output.finish();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away is an error like a full disk, with a message.
  static_cast<void>(signal(SIGPIPE, SIG_IGN));
  if (!set_up_locale()) use_plain_branches();
  Output output;
  try {
    return run(argc, argv, output);
  } catch (const Failure& failure) {
    output.message(failure.message);
    return failure.status;
  } catch (const std::exception& error) {
    output.message(error.what());
    return kFailed;
  }
}
