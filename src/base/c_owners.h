// SPDX-License-Identifier: MIT
#pragma once

#include <dirent.h>

#include <cstdlib>
#include <memory>

namespace tarni {

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};
using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

struct Freer {
  void operator()(void* memory) const { std::free(memory); }
};
using MallocedText = std::unique_ptr<char, Freer>;

}  // namespace tarni
