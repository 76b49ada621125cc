// SPDX-License-Identifier: MIT
#include "sim/tool/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "sim/tool/failure.h"

namespace tarni::sim {
namespace {

constexpr const char* kFooter =
    "Exit status: the program's, 128 and the signal's number when a signal ended it, or\n"
    "  90  an expectation of the script failed\n"
    "  91  wrong usage\n"
    "  92  an error in the script\n"
    "  93  the machine could not be made or broke\n"
    "  94  the program could not be started\n"
    "The commands of a script are in tarni-sim(1).";

class Formatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "Usage: tarni-sim [OPTIONS] -- PROGRAM [ARGUMENT]...\n";
  }
};

void describe(CLI::App& app, Options& options) {
  app.name("tarni-sim");
  app.set_version_flag("--version", "tarni-sim " TARNI_VERSION);
  app.footer(kFooter);
  app.add_option("--machine", options.machines, "A recording by umockdev-record; can be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option("--script", options.script, "What happens; - for standard input")
      ->type_name("FILE");
  app.add_option("--log", options.log, "Write what the machine did and heard to a file")
      ->type_name("FILE");
  app.formatter(std::make_shared<Formatter>());
}

std::vector<std::string> reversed(std::vector<std::string> words) {
  std::reverse(words.begin(), words.end());
  return words;
}

}  // namespace

Options read_command_line(int argc, char** argv) {
  Options options;
  CLI::App app("Runs a program inside a simulated USB machine.");
  describe(app, options);
  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto separator = std::find(words.begin(), words.end(), "--");
  if (separator != words.end()) options.program.assign(separator + 1, words.end());
  try {
    // It wants them so.
    app.parse(reversed({words.begin(), separator}));
    if (options.program.empty()) throw CLI::RequiredError("-- and a program");
  } catch (const CLI::Success& request) {
    app.exit(request);
    options.program.clear();
  } catch (const CLI::ParseError& error) {
    throw Failure{kWrongUsage, std::string(error.what()) + " (see tarni-sim --help)"};
  }
  return options;
}

}  // namespace tarni::sim
