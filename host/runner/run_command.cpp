#include "host/runner/run_command.h"

#include <net/if.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include "framework/log_level.h"
#include "host/coreutils/settings.h"
#include "host/coreutils/toml_config.h"
#include "host/emulated_driver/emulated_driver.h"
#include "host/runner/driver_command.h"
#include "host/runner/json_output.h"
#include "host/runner/log_sink.h"
#include "host/runner/private_directory.h"
#include "host/runner/script.h"
#include "host/runner/service_host.h"
#include "host/runner/session.h"
#include "host/runner/text_output.h"
#include "host/runner/trace_output.h"

namespace host {
namespace {

constexpr char kEmulatedSelfIp[] = "192.168.49.1";
constexpr char kPathKey[] = "wpaifPath";

volatile std::sig_atomic_t gStop = 0;

// The first ^C ends the session in good order, after the command that is running; a second one
// ends the process. Reading and sleeping are interrupted.
void StopOnSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) { gStop = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  (void)sigaction(SIGINT, &action, nullptr);
  (void)sigaction(SIGTERM, &action, nullptr);
  // A reader that has seen enough must not keep the session from clearing up.
  (void)std::signal(SIGPIPE, SIG_IGN);
}

// Everything that a session stands on, made step by step; each step says in `error` why it failed.
class Workplace {
 public:
  explicit Workplace(const RunOptions& options) : mOptions(options) {}

  bool Prepare(std::string& error) {
    return ReadSteps(error) && LoadSettings(error) && ProvideDriver(error) && OpenOutputs(error) &&
           LoadService(error);
  }
  ExitStatus Run();

 private:
  bool ReadSteps(std::string& error);
  bool LoadSettings(std::string& error);
  bool ProvideDriver(std::string& error);
  bool OpenOutputs(std::string& error);
  bool LoadService(std::string& error);

  bool IsBuiltIn() const { return mOptions.words.empty() && mOptions.script.empty(); }
  void SetAddresses();
  bool PlayStandardInput(Session& session);
  SessionInfo Info() const;

  const RunOptions& mOptions;
  std::vector<Step> mSteps;
  TomlConfig mConfig;
  std::string mSettings;
  std::string mSelfIp;
  std::string mControlPath;
  std::optional<PrivateDirectory> mDirectory;  // for the emulated driver
  std::unique_ptr<EmulatedDriver> mDriver;
  TextOutput mText{StyleOfStandardOutput()};
  JsonOutput mJson;
  TraceOutput mTrace;
  std::vector<SessionOutput*> mOutputs;
  std::unique_ptr<LogSink> mLog;
  std::unique_ptr<ServiceHost> mService;
};

bool Workplace::ReadSteps(std::string& error) {
  if (IsBuiltIn()) {
    mSteps = BuiltInSession();
    return true;
  }
  if (mOptions.script == "-") {
    return true;
  }
  return mOptions.script.empty() ? ParseCommandLine(mOptions.words, mSteps, error)
                                 : ReadScriptFile(mOptions.script, mSteps, error);
}

bool Workplace::LoadSettings(std::string& error) {
  if (!mOptions.config.empty()) {
    mSettings = mOptions.config;
    if (const std::optional<ConfigProblem> problem = mConfig.Load(mOptions.config)) {
      error = problem->message;
      return false;
    }
    return true;
  }
  mSettings = "built-in defaults";
  if (IsBuiltIn()) {
    // So that the built-in session shows every driver command.
    mConfig.SetInteger(SettingKey("wlanEnableTsf"), 1, "the built-in session");
    mSettings += ", wlanEnableTsf = true";
  }
  return true;
}

bool Workplace::ProvideDriver(std::string& error) {
  std::string directory = mOptions.controlDirectory;
  if (directory.empty() && !mOptions.emulated) {
    mConfig.getProperty(SettingKey(kPathKey), directory);
  }
  if (directory.empty()) {
    directory = mDirectory.emplace().Path();
    if (directory.empty()) {
      error = "cannot make a private directory for the emulated driver's socket: check TMPDIR";
      return false;
    }
    EmulatedDriverOptions emulation;
    emulation.directory = directory;
    emulation.interface = mOptions.interface;
    if (!ParseFaultRules(mOptions.faults, emulation.faults, error)) {
      return false;
    }
    mDriver = std::make_unique<EmulatedDriver>(emulation);
    if (!mDriver->Start(&error)) {
      return false;
    }
  } else if (!mOptions.faults.empty()) {
    error = "--fault works on the emulated driver, not on the supplicant in " + directory +
            ": give the rule to wlc driver, or use --emulated";
    return false;
  }
  mConfig.SetText(SettingKey(kPathKey), directory, "the control directory");
  mControlPath = directory + "/" + mOptions.interface;
  SetAddresses();
  return true;
}

void Workplace::SetAddresses() {
  // The discovery client asks an interface that exists for its address.
  const bool asked = mDriver == nullptr && if_nametoindex(mOptions.interface.c_str()) != 0;
  mSelfIp = mOptions.selfIp.empty() && !asked ? kEmulatedSelfIp : mOptions.selfIp;
  setenv("NUVREL_HOST_INTERFACE", mOptions.interface.c_str(), 1);
  setenv("NUVREL_HOST_PEER_IP", mOptions.peerIp.c_str(), 1);
  if (mSelfIp.empty()) {
    unsetenv("NUVREL_HOST_SELF_IP");
  } else {
    setenv("NUVREL_HOST_SELF_IP", mSelfIp.c_str(), 1);
  }
}

bool Workplace::OpenOutputs(std::string& error) {
  mOutputs.push_back(mOptions.json ? static_cast<SessionOutput*>(&mJson) : &mText);
  if (!mOptions.trace.empty()) {
    if (!mTrace.Open(mOptions.trace, error)) {
      return false;
    }
    mOutputs.push_back(&mTrace);
  }
  mLog = std::make_unique<LogSink>(mOptions.logLevel, mOutputs);
  return true;
}

bool Workplace::LoadService(std::string& error) {
  const std::string library = mOptions.library.empty() ? DefaultLibraryPath() : mOptions.library;
  if (mOptions.logLevel <= LogLevel::kInfo) {
    mConfig.SetLogMask(kNuvrelLogInfo);
  }
  mService = ServiceHost::Load(library, mConfig, error);
  return mService != nullptr;
}

SessionInfo Workplace::Info() const {
  return {.library = mOptions.library.empty() ? DefaultLibraryPath() : mOptions.library,
          .settings = mSettings,
          .driver = (mDriver != nullptr ? "emulated, at " : "the supplicant at ") + mControlPath,
          .addresses = (mSelfIp.empty() ? "those of " + mOptions.interface : mSelfIp) +
                       " to peer " + mOptions.peerIp};
}

// Plays each line as it comes; whether all of them could be played.
bool Workplace::PlayStandardInput(Session& session) {
  ScriptReader reader(std::cin, "standard input");
  bool allPlayed = true;
  while (!session.Stopped()) {
    Step step;
    std::string error;
    const ScriptReader::Result result = reader.Next(step, error);
    if (result == ScriptReader::Result::kEnd) {
      break;
    }
    if (result == ScriptReader::Result::kError) {
      (void)std::fprintf(stderr, "wlc: %s\n", error.c_str());
      allPlayed = false;
      continue;
    }
    session.Play(step);
  }
  return allPlayed;
}

ExitStatus Workplace::Run() {
  StopOnSignals();
  Session session(*mService, mControlPath, mOutputs, gStop);
  for (SessionOutput* output : mOutputs) {
    output->OnStart(Info());
  }
  for (const Step& step : mSteps) {
    session.Play(step);
  }
  const bool allPlayed = mOptions.script != "-" || PlayStandardInput(session);
  for (const FaultCount& fault :
       mDriver != nullptr ? mDriver->FaultCounts() : std::vector<FaultCount>()) {
    for (SessionOutput* output : mOutputs) {
      output->OnNotice(FaultSentence(fault));
    }
  }
  session.Finish();
  if (!allPlayed) {
    return kExitCannotRun;
  }
  return session.AllSucceeded() ? kExitGood : kExitNegative;
}

}  // namespace

ExitStatus RunSession(const RunOptions& options) {
  Workplace workplace(options);
  std::string error;
  if (!workplace.Prepare(error)) {
    (void)std::fprintf(stderr, "wlc: %s\n", error.c_str());
    return kExitCannotRun;
  }
  return workplace.Run();
}

}  // namespace host
