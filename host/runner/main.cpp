// wlc: runs the wireless link configuration service on a workstation and shows what it does.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>
#include <string>

#include "host/runner/driver_command.h"
#include "host/runner/explain.h"
#include "host/runner/run_command.h"
#include "host/runner/session_command.h"

namespace {

using host::DriverOptions;
using host::ExplainOptions;
using host::LogLevel;
using host::RunOptions;

LogLevel LogLevelFrom(const std::string& name) {
  const std::map<std::string, LogLevel> levels = {{"error", LogLevel::kError},
                                                  {"warn", LogLevel::kWarn},
                                                  {"info", LogLevel::kInfo},
                                                  {"debug", LogLevel::kDebug}};
  const auto level = levels.find(name);
  if (level == levels.end()) {
    throw CLI::ValidationError("--log-level", "\"" + name + "\" is not error, warn, info or debug");
  }
  return level->second;
}

// Two ways to say the same thing at once: which one is meant?
void RefuseContradictions(const RunOptions& options) {
  if (!options.words.empty() && !options.script.empty()) {
    throw CLI::ValidationError("--script", "give either commands or a script");
  }
  if (options.emulated && !options.controlDirectory.empty()) {
    throw CLI::ValidationError("--emulated", "give either --ctrl-dir or --emulated");
  }
}

// Checked like CLI11's own, without its mark in the help text.
CLI::Validator Quiet(CLI::Validator validator) { return validator.description(""); }

// The empty text when `name` can be an interface's.
std::string CheckInterface(const std::string& name) {
  constexpr size_t kLongest = 15;
  return name.empty() || name.size() > kLongest || name.find_first_of("/ \t") != std::string::npos
             ? "\"" + name + "\" is not an interface name (1 to 15 characters, no / or blank)"
             : "";
}

std::string CommandList() {
  std::string list = "Commands:\n";
  for (const host::CommandForm& form : host::AllCommands()) {
    std::string usage = form.name;
    for (const host::ParameterForm& parameter : form.parameters) {
      usage += std::string(" ") + parameter.usage;
    }
    list += "  " + usage + std::string(usage.size() < 22 ? 22 - usage.size() : 2, ' ') +
            form.summary + "\n";
  }
  return list + "  sleep MS, repeat N COMMAND\n";
}

void AddFaults(CLI::App& app, std::vector<std::string>& faults) {
  app.add_option("--fault", faults,
                 "COMMAND:fail, :drop, :delay=MS, :reply=TEXT or events:drop,\n"
                 ":delay=MS, :garble=NUMBER; then @N or xN; repeatable")
      ->type_name("RULE")
      ->allow_extra_args(false);
}

// Which driver, and between which addresses.
void AddPlace(CLI::App* run, RunOptions& options) {
  run->add_option("--ctrl-dir", options.controlDirectory, "use the supplicant that runs here")
      ->type_name("DIR")
      ->check(Quiet(CLI::ExistingDirectory));
  run->add_flag("--emulated", options.emulated, "emulate the driver though wpaifPath is set");
  run->add_option("--interface", options.interface, "default wlan0")
      ->type_name("IF")
      ->check(CheckInterface);
  run->add_option("--self-ip", options.selfIp, "default: the interface's, or 192.168.49.1")
      ->type_name("IP")
      ->check(Quiet(CLI::ValidIPV4));
  run->add_option("--peer-ip", options.peerIp, "default 192.168.49.2")
      ->type_name("IP")
      ->check(Quiet(CLI::ValidIPV4));
}

CLI::App* AddRun(CLI::App& app, RunOptions& options) {
  CLI::App* run = app.add_subcommand("run", "Play a session and show each driver command");
  run->add_option("commands", options.words, "commands to play; without any, a whole session")
      ->type_name("COMMAND");
  run->add_option("--script", options.script,
                  "play a file, one command a line; - is standard input")
      ->type_name("FILE");
  run->add_option("--config", options.config, "settings of the service")->type_name("FILE.toml");
  run->add_option("--library", options.library, "the service, if not the one beside wlc")
      ->type_name("PATH");
  AddPlace(run, options);
  AddFaults(*run, options.faults);
  run->add_option_function<std::string>(
         "--log-level",
         [&options](const std::string& name) { options.logLevel = LogLevelFrom(name); },
         "error, warn (default), info, debug: on standard error")
      ->type_name("LEVEL");
  run->add_flag("--json", options.json, "one JSON object a line for each command");
  run->add_option("--trace", options.trace, "write a trace for Perfetto or Chrome")
      ->type_name("FILE");
  run->footer(CommandList() +
              "Exit status: 0 every status zero or more, 1 one negative, 2 it could not run\n"
              "Examples:\n"
              "  wlc run\n"
              "  wlc run --trace session.json init init-lapb-flow \"add-lapb-policy 5000 160 184 "
              "20\"");
  run->get_formatter()->column_width(24);
  return run;
}

CLI::App* AddDriver(CLI::App& app, DriverOptions& options) {
  CLI::App* driver = app.add_subcommand("driver", "Serve the emulated driver until ^C");
  driver->add_option("--ctrl-dir", options.controlDirectory, "where its socket is made")
      ->type_name("DIR")
      ->required()
      ->check(Quiet(CLI::ExistingDirectory));
  driver->add_option("--interface", options.interface, "default wlan0")
      ->type_name("IF")
      ->check(CheckInterface);
  AddFaults(*driver, options.faults);
  driver->footer(
      "Examples:\n"
      "  wlc driver --ctrl-dir /tmp/ctrl &  wpa_cli -p /tmp/ctrl -i wlan0 status\n"
      "  wlc driver --ctrl-dir /tmp/ctrl --fault POLICY_ADD:fail@2");
  return driver;
}

CLI::App* AddExplain(CLI::App& app, ExplainOptions& options) {
  CLI::App* explain = app.add_subcommand("explain", "Say what a settings file will do");
  explain->add_option("file", options.file, "settings of the service")
      ->type_name("FILE.toml")
      ->required();
  explain->add_option("--interface", options.interface, "default wlan0")
      ->type_name("IF")
      ->check(CheckInterface);
  explain->footer(
      "Exit status: 0 wlc run starts with it, 1 it does not, 2 the file cannot be read\n"
      "Examples:\n"
      "  wlc explain examples/headset.toml\n"
      "  wlc explain --interface wlan1 examples/headset.toml");
  return explain;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("wlc: the wireless link configuration service on a workstation", "wlc");
  app.require_subcommand(1);
  app.footer("Examples:\n  wlc run\n  wlc run --help");
  RunOptions runOptions;
  DriverOptions driverOptions;
  ExplainOptions explainOptions;
  const CLI::App* run = AddRun(app, runOptions);
  const CLI::App* driver = AddDriver(app, driverOptions);
  AddExplain(app, explainOptions);
  try {
    app.parse(argc, argv);
    RefuseContradictions(runOptions);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    // Of a wrong word in a subcommand's place CLI11 only says that a subcommand is missing.
    const bool wrongWord = app.get_subcommands().empty() && argc > 1;
    const std::string what =
        wrongWord ? "\"" + std::string(argv[1]) + "\" is not a subcommand (run, driver, explain)"
                  : error.what();
    (void)std::fprintf(stderr, "wlc: %s; see --help\n", what.c_str());
    return host::kExitCannotRun;
  }
  if (run->parsed()) {
    return host::RunSession(runOptions);
  }
  return driver->parsed() ? host::RunDriver(driverOptions) : host::Explain(explainOptions);
}
