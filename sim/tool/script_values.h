// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "sim/tool/script.h"
#include "sim/tool/script_words.h"

namespace tarni::sim {

// Each takes the next word of the line as a value, or throws Failure.

// 500ms, 2s, 1.5s; a day at most.
Milliseconds take_duration(ScriptWords& words);

// what: "a port number", for the errors.
std::int64_t take_number(ScriptWords& words, const char* what, std::int64_t least,
                         std::int64_t most);

// Hexadecimal, with or without 0x.
int take_hex(ScriptWords& words, const char* what, int most);

// "1-1.4".
std::string take_port(ScriptWords& words);

// As sysfs has it: "480".
std::string take_speed(ScriptWords& words);

}  // namespace tarni::sim
