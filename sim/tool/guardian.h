// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "sim/tool/signals.h"

namespace tarni::sim {

// Environment variable by which the process that plays the machine knows that it
// is this one, and which folder is its own.
constexpr const char* kFolderVariable = "TARNI_SIM_FOLDER";
// What the user's TMPDIR was, if any; the machine's own is inside that folder.
constexpr const char* kUsersTmpdirVariable = "TARNI_SIM_TMPDIR";
// The user's LD_PRELOAD.
constexpr const char* kUsersPreloadVariable = "TARNI_SIM_PRELOAD";

/*
 * What the user starts as tarni-sim: starts the same program once more, with
 * umockdev's preload object, to play the machine and to start the user's program,
 * and passes signals on to it. Whatever becomes of that process, afterwards
 * nothing runs and the temporary folder is gone. The other way round, that process
 * ends everything when this one is killed.
 *
 * Returns the exit status. Throws Failure.
 */
int guard(char** argv, const Signals& signals);

}  // namespace tarni::sim
