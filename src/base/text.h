// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace tarni {

// Size of the text fields of descriptions, which is that of the public records'.
constexpr std::size_t kFieldSize = 256;

// Copies at most `size` - 1 characters of `source` into `destination`, which has
// `size` of them (1 or more), and pads with zeros up to `size` - 1. The last
// character of `destination` is not written: hosts hand in zeroed buffers.
// Reads no further than `size` - 1 characters, so that `source` may be a field
// of the same size that is full to its last byte.
void bounded_copy(char* destination, std::size_t size, const char* source);

}  // namespace tarni
