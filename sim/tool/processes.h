// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "sim/tool/signals.h"

namespace tarni::sim {

// From now on, what processes below this one leave behind is this one's to reap.
void adopt_orphans();

// Exit status as a shell counts it, of what waitpid() gave.
int shell_status(int wait_status);

// Ends all processes below this one, however deep and whoever started them:
// SIGTERM, then SIGKILL for those that are left after the grace.
void end_descendants(const Signals& signals, std::chrono::milliseconds grace);

}  // namespace tarni::sim
