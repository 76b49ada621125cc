// SPDX-License-Identifier: MIT
// `tarni dump`: the library's own account of every device, as data.
#include "device.h"
#include "failure.h"
#include "options.h"
#include "output.h"
#include "text.h"

namespace tarni::cli {

int run_dump(Output& output, const Options&) {
  const Finder finder;
  const std::string text = output.captured_errors([&] { tarni_dump_info(finder.handle()); });
  output.data(printable_lines(text));
  return kSuccess;
}

}  // namespace tarni::cli
