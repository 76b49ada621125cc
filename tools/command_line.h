// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace tarni::cli {

// Reads the command line. Without a command in the result everything has been
// said (help, version). Throws Failure for one that makes no sense.
Options read_command_line(int argc, char** argv, Output& output);

}  // namespace tarni::cli
