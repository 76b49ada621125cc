// SPDX-License-Identifier: MIT
#pragma once

namespace tarni {

// Writes one line to standard error. One call is one write, so that lines of
// several threads never mix. The format brings its "[UDF] " and its line feed.
void log(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tarni
