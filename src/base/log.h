// SPDX-License-Identifier: MIT
#pragma once

namespace tarni {

// Writes one line to standard error. One call is one write, so that lines of
// several threads never mix. The text is given whole, with its "[UDF] " and its
// line feed, so that a line seen in the field is found in the source.
void log(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tarni
