// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/tool/signals.h"

namespace tarni::sim {

// Changes to an environment; nothing: without the variable.
using Environment = std::map<std::string, std::optional<std::string>>;

// A variable of this process's environment.
std::optional<std::string> environment_variable(const char* name);

struct ProgramOptions {
  std::vector<std::string> words;  // the program and its arguments
  Environment environment;
  // What it gets when this process dies; 0: nothing.
  int parent_death_signal = 0;
};

// Starts a program, found by PATH unless its name has a slash, with the signals
// as the caller of tarni-sim had them. Throws Failure. To be called from a thread
// that lives as long as the process.
pid_t start_program(const ProgramOptions& options, const Signals& signals);

}  // namespace tarni::sim
