// SPDX-License-Identifier: MIT
// tarni-sim: runs a program inside a simulated USB machine.
#include <cstdlib>
#include <exception>

#include "sim/tool/command_line.h"
#include "sim/tool/failure.h"
#include "sim/tool/guardian.h"
#include "sim/tool/processes.h"
#include "sim/tool/story.h"
#include "sim/tool/temporary_folder.h"

namespace {

using namespace tarni::sim;

// In the process that plays the machine.
int simulate(const Options& options, const TemporaryFolder& folder, const Signals& signals) {
  const Script script =
      options.script.empty() ? Script{} : parse_script(read_script(options.script), options.script);
  Journal journal(options.log);
  adopt_orphans();
  Machine machine(options.machines);
  rehearse(script, machine.population());
  Host host(options.program, signals);
  return Story(machine, host, journal).tell(script, folder.path());
}

int run(int argc, char** argv) {
  const Options options = read_command_line(argc, argv);
  if (options.program.empty()) return 0;
  const Signals signals;
  const char* folder = std::getenv(kFolderVariable);
  if (folder == nullptr) return guard(argv, signals);
  return simulate(options, TemporaryFolder(folder), signals);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const Failure& failure) {
    complain(failure.message);
    return failure.status;
  } catch (const std::exception& error) {
    complain(error.what());
    return kMachineFailed;
  }
}
