#include <android/log.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "config/link_configuration.h"
#include "framework/log_level.h"
#include "host/coreutils/toml_config.h"
#include "host/refusal.h"
#include "host/runner/commands.h"
#include "host/runner/log_sink.h"
#include "host/runner/private_directory.h"
#include "host/runner/session.h"
#include "host/visible.h"

namespace {

bool IsBuiltIn(const RunOptions& options) {
  return options.words.empty() && options.script.empty();
}

// The steps that are known before anything is played: all but those of standard input.
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

// Loads the settings, and says where they come from.
std::string LoadSettings(const RunOptions& options, TomlConfig& config) {
  if (!options.config.empty()) {
    const auto problems = config.Load(options.config);
    if (!problems.empty()) {
      throw Refusal("{}", problems.front());
    }
    return options.config;
  }
  if (IsBuiltIn(options)) {
    // So that the built-in session shows every driver command.
    config.Set(SettingKey("wlanEnableTsf"), 1, "the built-in session");
    return "built-in defaults, wlanEnableTsf = true";
  }
  return "built-in defaults";
}

// The driver of a session: an emulated one in a private directory, or the supplicant's.
struct SessionDriver {
  SessionDriver(RunOptions& options, TomlConfig& config) {
    std::string& directory = options.driver.directory;
    if (directory.empty() && !options.emulated) {
      config.getProperty(SettingKey("wpaifPath"), directory);
    }
    if (directory.empty()) {
      directory = mDirectory.emplace().Path();
      mEmulated.emplace(options.driver).Start();
    } else if (!options.driver.faults.empty() || !options.driver.serviceClasses.empty()) {
      throw Refusal(
          "--fault and --service-class work on the emulated driver, not on the supplicant in {}: "
          "give them to its wlc driver, or let this wlc emulate it: without --ctrl-dir, with "
          "--emulated",
          directory);
    }
    config.Set(SettingKey("wpaifPath"), directory, "the control directory");
    mPath = directory + "/" + options.driver.interface;
  }

  std::string mPath;
  std::optional<PrivateDirectory> mDirectory;
  std::optional<EmulatedDriver> mEmulated;
};

// Plays each line as it comes; whether all of them could be played. A wrong line is refused alone.
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

// Once all else is ready: a run that cannot start leaves an earlier trace as it is.
void MakeOutputs(const RunOptions& options, SessionOutputs& outputs) {
  outputs.push_back(options.json      ? MakeJsonOutput()
                    : options.summary ? MakeSummaryOutput()
                                      : MakeTextOutput());
  if (!options.trace.empty()) {
    outputs.push_back(MakeTraceOutput(options.trace));
  }
}

// This device's address; empty where the discovery client is to ask the interface for it.
std::string SelfIp(const RunOptions& options, bool emulated) {
  const bool exists = !emulated && if_nametoindex(options.driver.interface.c_str()) != 0;
  return !options.selfIp.empty() || exists ? options.selfIp : "192.168.49.1";
}

}  // namespace

ExitStatus RunSession(RunOptions options) {
  const std::vector<Step> steps = ReadSteps(options);
  TomlConfig config;
  SessionInfo info;
  info.library = options.library.empty() ? DefaultLibraryPath() : options.library;
  info.settings = LoadSettings(options, config);
  const SessionDriver driver(options, config);
  info.driver = (driver.mEmulated ? "emulated, at " : "the supplicant at ") + driver.mPath;
  const std::string selfIp = SelfIp(options, driver.mEmulated.has_value());
  SetDiscovery(options.driver.interface, selfIp, options.peerIp);
  info.self = selfIp.empty() ? "those of " + options.driver.interface : selfIp;
  info.peer = options.peerIp;

  SessionOutputs outputs;
  const auto level = std::find(kLogLevels.begin(), kLogLevels.end(), options.logLevel);
  const LogSink log(ANDROID_LOG_ERROR - static_cast<int>(level - kLogLevels.begin()), outputs);
  config.SetLogMask(gNuvrelLogLevel);
  ServiceHost service(info.library, config);
  MakeOutputs(options, outputs);

  LetCommandsEnd();
  Session session(service, driver.mPath, outputs);
  outputs.Tell(&SessionOutput::OnStart, info);
  session.Play(steps);
  const bool allPlayed = options.script != "-" || PlayStandardInput(session);
  const SessionEnd& end = session.Finish(driver.mEmulated ? driver.mEmulated->FaultCounts()
                                                          : std::vector<FaultCount>());
  const bool idle = std::any_of(end.faults.begin(), end.faults.end(),
                                [](const FaultCount& fault) { return fault.fired == 0; });
  const bool doubtful = end.differing != 0 || end.unchecked != 0 || idle;
  return !allPlayed                                        ? kExitCannotRun
         : end.failed != 0 || (options.strict && doubtful) ? kExitNegative
                                                           : kExitGood;
}
