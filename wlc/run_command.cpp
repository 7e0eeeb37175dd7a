#include "wlc/commands.h"

#include <android/log.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "config/link_configuration.h"
#include "emulated_driver/refusal.h"
#include "framework/log_level.h"
#include "wlc/log_sink.h"
#include "wlc/private_directory.h"
#include "wlc/session.h"
#include "wlc/surprises.h"
#include "wlc/toml_config.h"
#include "wlc/visible.h"

namespace {

bool IsBuiltIn(const RunOptions& options) {
  return options.words.empty() && options.script.empty();
}

// The steps of the script or arguments; none yet when they come from standard input.
std::vector<Step> ReadSteps(const RunOptions& options) {
  if (options.script.empty()) {
    return ParseSteps(IsBuiltIn(options) ? std::string(kBuiltInSession)
                                         : fmt::format("{}", fmt::join(options.words, " ")));
  }
  if (options.script == "-") {
    return {};
  }
  errno = 0;
  std::ifstream input(options.script);
  std::vector<Step> steps;
  for (unsigned line = 1; ReadLine(input, options.script, line, steps); ++line) {
  }
  if (steps.empty()) {
    throw Refusal("cannot read the script {}: {}", options.script,
                  errno != 0 ? std::strerror(errno) : "there is no command in it");
  }
  return steps;
}

// Loads the settings into `config` and says in `info` where they come from.
void LoadSettings(const RunOptions& options, TomlConfig& config, SessionInfo& info) {
  if (!options.config.empty()) {
    const auto problems = config.Load(options.config);
    if (!problems.empty()) {
      throw Refusal("{}", problems.front());
    }
    info.settings = options.config;
    info.surprises = Surprises(options.config, false, config);
  } else if (IsBuiltIn(options)) {
    // So that the built-in session shows every driver command.
    config.Set(SettingKey("wlanEnableTsf"), 1, "the built-in session");
    info.settings = "built-in defaults, wlanEnableTsf = true";
  }
}

// The driver of a session: an emulated one in a private directory, or the supplicant's.
struct SessionDriver {
  SessionDriver(const RunOptions& options, TomlConfig& config) {
    std::string directory = options.controlDirectory;
    if (directory.empty() && !options.emulated) {
      config.getProperty(SettingKey("wpaifPath"), directory);
    }
    if (directory.empty()) {
      directory = mDirectory.emplace().Path();
      mEmulated
          .emplace(EmulatedDriverOptions{directory, options.interface, options.faults,
                                         options.serviceClasses})
          .Start();
    } else if (!options.faults.empty() || !options.serviceClasses.empty()) {
      throw Refusal(
          "--fault and --service-class work on the emulated driver, not on the supplicant in {}: "
          "give them to its wlc driver, or let this wlc emulate it: without --ctrl-dir, with "
          "--emulated",
          directory);
    }
    config.Set(SettingKey("wpaifPath"), directory, "the control directory");
    mPath = directory + "/" + options.interface;
  }

  std::string mPath;
  std::optional<PrivateDirectory> mDirectory;
  std::optional<EmulatedDriver> mEmulated;
};

// Plays each line as it comes, and refuses only the wrong ones. True when there were none.
bool PlayStandardInput(Session& session) {
  InterruptibleInput buffer;
  std::istream input(&buffer);
  bool allPlayed = true;
  bool more = true;
  for (unsigned line = 1; more && !Session::Stopped(); ++line) {
    try {
      std::vector<Step> steps;
      more = ReadLine(input, "standard input", line, steps);
      session.Play(steps);
    } catch (const Refusal& refusal) {
      PrintError("wlc: {}\n", Visible(refusal.what()));
      allPlayed = false;
    }
  }
  return allPlayed;
}

// Called last, so that a run that cannot start leaves an earlier trace as it is.
void MakeOutputs(const RunOptions& options, SessionOutputs& outputs) {
  outputs.push_back(options.json      ? MakeJsonOutput(options.times)
                    : options.summary ? MakeSummaryOutput()
                                      : MakeTextOutput(options.times));
  if (!options.trace.empty()) {
    outputs.push_back(MakeTraceOutput(options.trace));
  }
}

// This device's address; empty when the discovery client shall ask the interface for it.
std::string SelfIp(const RunOptions& options, bool emulated) {
  const bool exists = !emulated && if_nametoindex(options.interface.c_str()) != 0;
  return !options.selfIp.empty() || exists ? options.selfIp : "192.168.49.1";
}

}  // namespace

ExitStatus RunSession(const RunOptions& options) {
  const std::vector<Step> steps = ReadSteps(options);
  TomlConfig config;
  SessionInfo info;
  // Absolute, since the loader searches its own folders for a name without a slash.
  const std::filesystem::path library =
      std::filesystem::absolute(options.library.empty() ? DefaultLibraryPath() : options.library)
          .lexically_normal();
  LoadSettings(options, config, info);
  const SessionDriver driver(options, config);
  info.showsPath = options.times;
  info.library = options.times ? library : library.filename();
  info.driver = driver.mEmulated ? "emulated" : "a supplicant";
  info.driver += options.times ? ", at " + driver.mPath : "";
  const std::string selfIp = SelfIp(options, driver.mEmulated.has_value());
  SetDiscovery(options.interface, selfIp, options.peerIp);
  info.self = selfIp.empty() ? "those of " + options.interface : selfIp;
  info.peer = options.peerIp;

  SessionOutputs outputs;
  const auto level = std::find(kLogLevels.begin(), kLogLevels.end(), options.logLevel);
  const LogSink log(ANDROID_LOG_ERROR - static_cast<int>(level - kLogLevels.begin()), outputs);
  config.SetLogMask(gNuvrelLogLevel);
  ServiceHost service(library, config);
  MakeOutputs(options, outputs);

  LetCommandsEnd();
  Session session(service, driver.mPath, outputs, driver.mEmulated ? &*driver.mEmulated : nullptr);
  session.Start(info);
  session.Play(steps);
  const bool allPlayed = options.script != "-" || PlayStandardInput(session);
  const SessionEnd& end = session.Finish(options.strict);
  const bool good = end.failed == 0 && end.unmet.empty() && end.strictFailure.empty();
  return !allPlayed ? kExitCannotRun : good ? kExitGood : kExitNegative;
}
