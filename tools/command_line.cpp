// SPDX-License-Identifier: MIT
#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "failure.h"
#include "output.h"
#include "text.h"

namespace tarni::cli {
namespace {

constexpr const char* kExitStatuses =
    "Exit status:\n"
    "  0  success\n"
    "  1  failure\n"
    "  2  wrong usage\n"
    "  3  no such device\n"
    "  4  no USB topology manager\n"
    "  5  the topology manager could not tell the current\n"
    "  6  the output could not be written\n"
    "  7  watch ended before it had seen as many events as --count says\n";

constexpr double kLongestTimeoutS = 1e8;

CLI::App* add_command(CLI::App& app, Options& options, Command command, const char* name,
                      const char* description) {
  CLI::App* added = app.add_subcommand(name, description);
  added->callback([&options, command] { options.command = command; });
  return added;
}

CLI::Option* add_json(CLI::App* command, Options& options, const char* description) {
  return command->add_flag("--json", options.json, description);
}

// Not CLI::Range: that lets "nan" pass.
std::string check_timeout(const std::string& text) {
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  const bool sensible = *end == '\0' && seconds > 0 && seconds <= kLongestTimeoutS;
  return sensible ? "" : "not a number of seconds: " + text;
}

void add_watch_options(CLI::App* watch, Options& options) {
  add_json(watch, options, "One JSON object per line");
  watch->add_option("--count", options.count, "End after so many events")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""))
      ->type_name("N");
  watch->add_option("--timeout", options.timeout_s, "End after so many seconds, such as 2.5")
      ->check(CLI::Validator(check_timeout, ""))
      ->type_name("S");
}

void describe(CLI::App& app, Options& options) {
  app.name("tarni");
  app.set_version_flag("--version", "tarni " TARNI_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kExitStatuses);
  app.add_option("--log", options.log_file, "Append the library's own log to a file")
      ->type_name("FILE");

  CLI::App* list = add_command(app, options, run_list, "list", "List the attached devices");
  CLI::Option* tree = list->add_flag("--tree", options.tree, "Show which hub each hangs on");
  add_json(list, options, "An array of JSON objects")->excludes(tree);

  CLI::App* show = add_command(app, options, run_show, "show", "Show all about one device");
  show->add_option("DEVICE", options.device, "Its name or sysfs directory, such as 1-1.4")
      ->required();
  add_json(show, options, "A JSON object");

  add_watch_options(add_command(app, options, run_watch, "watch", "Print topology events"),
                    options);

  CLI::App* current =
      add_command(app, options, run_current, "current", "Print the total current drawn, in mA");
  add_json(current, options, "A JSON object");

  add_command(app, options, run_dump, "dump", "Print all that the library knows of the devices");
}

// A misspelled command is told as such, not as a missing one.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining(true);
  if (unknown.empty()) return printable(error.what());
  return "no such command or option: " + printable(unknown.front());
}

}  // namespace

Options read_command_line(int argc, char** argv, Output& output) {
  Options options;
  CLI::App app("Looks at the USB devices of this machine through libtarni.");
  describe(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    std::ostringstream text;
    app.exit(request, text, text);
    output.data(text.str());
    options.command = nullptr;
  } catch (const CLI::ParseError& error) {
    throw Failure{kUsage, complaint(app, error) + " (see tarni --help)"};
  }
  return options;
}

}  // namespace tarni::cli
