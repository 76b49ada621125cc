// SPDX-License-Identifier: MIT
#include "tree.h"

#include <algorithm>

#include "device.h"

namespace tarni::cli {
namespace {

using Chain = std::vector<unsigned>;

struct Branches {
  const char* child;
  const char* last_child;
  const char* passing;
  const char* none;
};

constexpr Branches kDrawn = {"\u251C\u2500 ", "\u2514\u2500 ", "\u2502  ", "   "};
constexpr Branches kPlain = {"|- ", "`- ", "|  ", "   "};

Branches branches = kDrawn;

struct Entry {
  std::size_t depth;
  bool last;  // of its siblings
};

bool below(const Chain& chain, const Chain& hub) {
  return chain.size() > hub.size() && std::equal(hub.begin(), hub.end(), chain.begin());
}

// Sorted by place, a device comes after all its hubs: those that are not above
// the next device are done with.
std::vector<Entry> entries_of(const std::vector<std::string>& names) {
  std::vector<Entry> entries;
  std::vector<Chain> hubs;
  for (const std::string& name : names) {
    const Chain chain = port_chain(name);
    while (!hubs.empty() && !below(chain, hubs.back())) hubs.pop_back();
    entries.push_back({hubs.size(), true});
    hubs.push_back(chain);
  }
  return entries;
}

void mark_last_siblings(std::vector<Entry>& entries) {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto next =
        std::find_if(entries.begin() + static_cast<std::ptrdiff_t>(i) + 1, entries.end(),
                     [&](const Entry& other) { return other.depth <= entries[i].depth; });
    entries[i].last = next == entries.end() || next->depth < entries[i].depth;
  }
}

}  // namespace

std::vector<std::string> tree_of(const std::vector<std::string>& names) {
  std::vector<Entry> entries = entries_of(names);
  mark_last_siblings(entries);
  std::vector<std::string> lines;
  std::vector<bool> open;  // per depth: whether a sibling is still to come
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Entry& entry = entries[i];
    open.resize(entry.depth);
    std::string line;
    for (std::size_t depth = 1; depth < entry.depth; ++depth)
      line += open[depth] ? branches.passing : branches.none;
    if (entry.depth > 0) line += entry.last ? branches.last_child : branches.child;
    lines.push_back(line + names[i]);
    open.push_back(!entry.last);
  }
  return lines;
}

void use_plain_branches() {
  branches = kPlain;
}

}  // namespace tarni::cli
