// wlc: runs the wireless link configuration service on a workstation and shows what it does.
#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <new>

#include "emulated_driver/refusal.h"
#include "wlc/commands.h"
#include "wlc/interruption.h"
#include "wlc/output_file.h"
#include "wlc/steps.h"
#include "wlc/visible.h"

namespace {

// Leaves out what CLI11 adds to an option's help, such as its checks and what it excludes. Our
// descriptions say what is allowed and what the default is.
struct Formatter : CLI::Formatter {
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_type_name();  // NAME:CHECK
    return (type.empty() ? "" : " ") + type.substr(0, type.find(':'));
  }
};

// What is wrong with an address; empty when nothing is.
std::string CheckAddress(const std::string& text) {
  in_addr address{};
  return inet_pton(AF_INET, text.c_str(), &address) == 1
             ? ""
             : "\"" + text + "\" is not an IPv4 address such as 192.168.49.2";
}

// What is wrong with `name` as the name of an interface; empty when nothing is.
std::string CheckInterface(const std::string& name) {
  return name.empty() || name.size() > 15 || name.find_first_of("/ \t") != std::string::npos
             ? "\"" + name + "\" is not an interface name (1 to 15 characters, no / or blank)"
             : "";
}

std::string CommandList() {
  std::string list = "Commands:\n";
  for (const CommandForm& form : AllCommands()) {
    std::string usage(form.name);
    for (const ParameterForm& parameter : form.parameters) {
      usage.append(" ").append(parameter.usage);
    }
    list += fmt::format("  {:20}  {}\n", usage, form.summary);
  }
  return list +
         "  repeat N COMMAND      play it N times\n"
         "  expect KEY VALUE      fail unless status, or the driver's KEY, is VALUE\n";
}

// An option or argument with one value, which the help text calls `type`.
CLI::Option* Add(CLI::App* app, const char* name, std::string& value, const char* type,
                 const char* description) {
  return app->add_option(name, value, description)->type_name(type);
}

// An option that may be repeated; `add` takes each value.
void AddRepeatable(CLI::App* app, const char* name,
                   const std::function<void(const std::string&)>& add, const char* type,
                   const char* description) {
  app->add_option_function(name, add, description)->type_name(type)->trigger_on_parse();
}

void AddInterface(CLI::App* app, std::string& interface) {
  Add(app, "--interface", interface, "IF", "default wlan0")->check(CheckInterface);
}

// What a person may change about the emulated driver.
void AddDriverOptions(CLI::App* app, std::vector<FaultRule>& faults,
                      std::vector<ServiceClass>& serviceClasses) {
  AddRepeatable(
      app, "--fault", [&](const std::string& text) { faults.push_back(ParseFaultRule(text)); },
      "RULE", "plant a fault, such as POLICY_ADD@2:fail; see man wlc");
  AddRepeatable(
      app, "--service-class",
      [&](const std::string& text) { serviceClasses.push_back(ParseServiceClass(text)); }, "CLASS",
      "the driver starts with ID:LATENCY[:DEFAULT:SPECIAL]");
}

// A subcommand with its own options, and what runs it once they are parsed.
struct Subcommand {
  const CLI::App* app;
  std::function<int()> run;
};

// What a signal has ended reports that signal.
int StatusOrSignal(ExitStatus status) {
  return InterruptedBy() == 0 ? status : 128 + InterruptedBy();
}

Subcommand AddRun(CLI::App& app) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* run = app.add_subcommand("run", "Play a session and show each driver command");
  CLI::Option* words =
      run->add_option("commands", options->words, "commands to play; without any, a whole session")
          ->type_name("COMMAND");
  Add(run, "--script", options->script, "FILE",
      "play a file, commands line by line; - is standard input")
      ->excludes(words);
  Add(run, "--config", options->config, "FILE.toml", "settings of the service");
  Add(run, "--library", options->library, "PATH", "the service, if not the one beside wlc");
  CLI::Option* directory =
      Add(run, "--ctrl-dir", options->controlDirectory, "DIR", "use the supplicant that runs here")
          ->check(CLI::ExistingDirectory);
  run->add_flag("--emulated", options->emulated, "emulate the driver though wpaifPath is set")
      ->excludes(directory);
  Add(run, "--self-ip", options->selfIp, "IP", "default: the interface's, or 192.168.49.1")
      ->check(CheckAddress);
  Add(run, "--peer-ip", options->peerIp, "IP", "default 192.168.49.2")->check(CheckAddress);
  AddInterface(run, options->interface);
  AddDriverOptions(run, options->faults, options->serviceClasses);
  Add(run, "--log-level", options->logLevel, "LEVEL",
      "error, warn (default), info, debug: on standard error")
      ->check(CLI::IsMember(kLogLevels));
  CLI::Option* json =
      run->add_flag("--json", options->json, "one JSON object a line for each command");
  CLI::Option* summary =
      run->add_flag("--summary", options->summary, "how often and how long, not each command")
          ->excludes(json);
  run->add_flag_callback(
         "--no-times", [options] { options->times = false; },
         "no times or socket paths: to compare with diff")
      ->excludes(summary);
  run->add_flag("--strict", options->strict,
                "what differs, is unchecked or never fired is a failure");
  Add(run, "--trace", options->trace, "FILE", "write a trace for Perfetto or Chrome")
      ->check([](const std::string& file) {
        return file == "-" ? "standard output holds the session: name a file" : "";
      });
  run->footer(CommandList() +
              "Exit status: 0 good, 1 a negative status or an unmet expect, 2 could not run\n"
              "Examples:\n"
              "  wlc run\n"
              "  wlc run --trace session.json init apply-link-settings deinit");
  run->get_formatter()->column_width(24);
  return {run, [options] { return StatusOrSignal(RunSession(*options)); }};
}

Subcommand AddDriver(CLI::App& app) {
  const auto options = std::make_shared<DriverOptions>();
  EmulatedDriverOptions& emulated = options->emulated;
  CLI::App* driver = app.add_subcommand("driver", "Serve the emulated driver until ^C");
  Add(driver, "--ctrl-dir", emulated.directory, "DIR", "where its socket is made (required)")
      ->required();
  driver->add_flag("--verbose", options->verbose, "show what it receives and answers");
  AddInterface(driver, emulated.interface);
  AddDriverOptions(driver, emulated.faults, emulated.serviceClasses);
  driver->footer(
      "Examples:\n"
      "  wlc driver --ctrl-dir ctrl --fault POLICY_ADD@2:fail\n"
      "  wpa_cli -p ctrl -i wlan0 status    (meanwhile, in another terminal)");
  return {driver, [options] { return RunDriver(*options); }};
}

Subcommand AddExplain(CLI::App& app) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App* explain = app.add_subcommand("explain", "Say what a settings file will do");
  Add(explain, "file", options->file, "FILE.toml", "settings of the service")->required();
  AddInterface(explain, options->interface);
  explain->footer(
      "Exit status: 0 wlc run starts with it, 1 it does not, 2 the file cannot be read\n"
      "Examples:\n"
      "  echo nuvrel.services.wirelesslinkconfig.wlanEnableTsf = true >tsf.toml\n"
      "  wlc explain tsf.toml");
  return {explain, [options] { return StatusOrSignal(Explain(*options)); }};
}

Subcommand AddReplay(CLI::App& app) {
  const auto options = std::make_shared<ReplayOptions>();
  CLI::App* replay = app.add_subcommand("replay", "Make a script from a device's log");
  Add(replay, "log", options->log, "LOG", "of adb logcat or wlc run; - is standard input")
      ->required();
  Add(replay, "--settings", options->settings, "FILE.toml", "write the logged settings");
  replay->footer(
      "Exit status: 0 it is whole, 1 commands or settings are not in the log, 2 no log\n"
      "Examples:\n"
      "  wlc run --log-level debug 2>log.txt\n"
      "  wlc replay log.txt --settings log.toml >log.wlc");
  return {replay, [options] { return StatusOrSignal(Replay(*options)); }};
}

// Opens standard descriptors that are closed. Otherwise a socket or file would get such a number,
// and standard output would be written to it.
void OpenStandardDescriptors() {
  int descriptor = STDIN_FILENO;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
    descriptor = open("/dev/null", O_RDWR);
  }
  close(descriptor);
}

// Ends wlc in good order where a library finds no memory and cannot throw: before main, and in a
// destructor. Set before any other initialisation.
[[noreturn]] void EndWithoutMemory() {
  try {
    if (const auto failure = std::current_exception()) {
      std::rethrow_exception(failure);
    }
  } catch (const std::bad_alloc&) {
    EndAtOnce("wlc: no memory left\n", kExitCannotRun);
  } catch (...) {  // not for want of memory
  }
  std::abort();
}

__attribute__((constructor(101))) void SetTerminate() { std::set_terminate(&EndWithoutMemory); }

int Run(int argc, char** argv) {
  CLI::App app("wlc: the wireless link configuration service on a workstation", "wlc");
  app.formatter(std::make_shared<Formatter>());
  app.set_version_flag("--version", "wlc " WLC_VERSION, "print the version");
  app.require_subcommand(1);
  app.footer("Examples:\n  wlc run\n  wlc run --help");
  const Subcommand subcommands[] = {AddRun(app), AddDriver(app), AddExplain(app), AddReplay(app)};
  for (CLI::App* command : app.get_subcommands({})) {
    for (CLI::Option* option : command->get_options()) {
      option->check([](const std::string& value) { return value.empty() ? "is empty" : ""; });
    }
  }
  try {
    app.parse(argc, argv);
    // One of them is required, and no second one is taken.
    return std::find_if(std::begin(subcommands), std::end(subcommands),
                        [](const Subcommand& each) { return each.app->parsed(); })
        ->run();
  } catch (const CLI::Success& help) {
    std::ostringstream text;
    app.exit(help, text);
    PrintText(text.str());
    return kExitGood;
  } catch (const CLI::ParseError& error) {
    // CLI11 says only that a subcommand is missing, even when there is a wrong word in its place.
    const bool wrongWord = app.get_subcommands().empty() && argc > 1;
    throw Refusal(
        "{}; see --help",
        wrongWord
            ? fmt::format("\"{}\" is not a subcommand (run, driver, explain, replay)", argv[1])
            : error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardDescriptors();
  // Writing to a pipe that nobody reads, or beyond a file size limit, fails instead of ending the
  // process.
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  try {
    WatchSignals();
    const int status = Run(argc, argv);
    if (WriteFailure().empty()) {
      return status;
    }
    throw Refusal("{}", WriteFailure());
  } catch (const std::system_error& failure) {
    const bool isThread = failure.code() == std::errc::resource_unavailable_try_again;
    PrintError("wlc: {}{}\n", isThread ? "no thread can be started, check ulimit -u: " : "",
               Visible(failure.what()));
  } catch (const std::exception& refusal) {
    PrintError("wlc: {}\n", Visible(refusal.what()));
  }
  return kExitCannotRun;
}
