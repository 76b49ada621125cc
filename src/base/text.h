// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace tarni {

// Longest text, in characters, that the text fields of this library hold: the
// public records' and the descriptions' are all 256 characters long.
constexpr std::size_t kFieldSize = 256;
constexpr std::size_t kMaxFieldText = kFieldSize - 1;

// Copies at most `size` - 1 characters of `source` into `destination`, which has
// `size` of them (1 or more), and pads with zeros up to `size` - 1. The last
// character of `destination` is not written: hosts hand in zeroed buffers.
// Reads no further than `size` - 1 characters, so that `source` may be a field
// of the same size that is full to its last byte.
void bounded_copy(char* destination, std::size_t size, const char* source);

}  // namespace tarni
