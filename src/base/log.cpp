// SPDX-License-Identifier: MIT
#include "base/log.h"

#include <cstdarg>
#include <cstdio>

namespace tarni {

void log(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  // Standard error is unbuffered: the C library formats the whole line first
  // and hands it over in a single write.
  static_cast<void>(std::vfprintf(stderr, format, arguments));
  va_end(arguments);
}

}  // namespace tarni
