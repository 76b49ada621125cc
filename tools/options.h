// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace tarni::cli {

class Output;
struct Options;

using Command = int (*)(Output& output, const Options& options);

// What the command line says.
struct Options {
  Command command = nullptr;
  std::string log_file;  // empty: the library's lines go nowhere
  bool json = false;
  bool tree = false;
  std::string device;
  std::optional<int> count;
  std::optional<double> timeout_s;
};

// The commands. Each returns its exit status or throws Failure.
int run_list(Output& output, const Options& options);
int run_show(Output& output, const Options& options);
int run_watch(Output& output, const Options& options);
int run_current(Output& output, const Options& options);
int run_dump(Output& output, const Options& options);

}  // namespace tarni::cli
