// SPDX-License-Identifier: MIT
// `tarni current`: the total current that the USB devices draw.
#include "device.h"
#include "failure.h"
#include "json.h"
#include "options.h"
#include "output.h"
#include "registration.h"

namespace tarni::cli {
namespace {

constexpr int kNoAnswer = -2;

}  // namespace

int run_current(Output& output, const Options& options) {
  const Finder finder;
  // No signal is caught here: Ctrl-C ends the wait for the topology manager.
  if (tarni_init(finder.handle()) < 0) throw no_topology_manager();
  const int current = tarni_get_total_currentdraw(finder.handle());
  if (current == kNoAnswer)
    throw Failure{kCurrentUnknown, "the topology manager did not say how much current is drawn"};
  if (current < 0)
    throw Failure{kCurrentUnknown, "the topology manager does not know how much current is drawn"};
  output.data(options.json ? current_json(current) : std::to_string(current) + " mA\n");
  return kSuccess;
}

}  // namespace tarni::cli
