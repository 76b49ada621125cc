// SPDX-License-Identifier: MIT
#pragma once

#include "sim/tool/script.h"
#include "sim/tool/script_words.h"

namespace tarni::sim {

// The words of a script behind "attach". Throws Failure.
Attach take_attach(ScriptWords& words);

}  // namespace tarni::sim
