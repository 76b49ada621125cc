// SPDX-License-Identifier: MIT
#include "base/text.h"

#include <cstring>

namespace tarni {

void bounded_copy(char* destination, std::size_t size, const char* source) {
  std::strncpy(destination, source, size - 1);
}

}  // namespace tarni
