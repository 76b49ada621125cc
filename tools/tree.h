// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace tarni::cli {

// Puts the branches of a tree before device names that are sorted by place. A
// device whose hub is not among them hangs on the nearest one above it that is.
std::vector<std::string> tree_of(const std::vector<std::string>& names);

// ASCII branches from now on, for a terminal that does not speak UTF-8.
void use_plain_branches();

}  // namespace tarni::cli
