// SPDX-License-Identifier: MIT
// A script of tarni-sim, up to where it would be carried out.
#include <algorithm>
#include <cassert>
#include <cctype>

#include "sim/tool/failure.h"
#include "sim/tool/rehearsal.h"
#include "sim/tool/script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarni::sim;
  try {
    rehearse(parse_script(std::string(data, data + size), "script"), {{"usb1"}, {}});
  } catch (const Failure& failure) {
    assert(failure.status == kScriptError && failure.message.rfind("script:", 0) == 0);
    // It goes to a terminal.
    assert(std::none_of(failure.message.begin(), failure.message.end(),
                        [](unsigned char c) { return std::iscntrl(c); }));
  }
  return 0;
}
