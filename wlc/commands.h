// The four subcommands of wlc. Each throws a Refusal when it cannot run.
#pragma once

#include <string>
#include <vector>

#include "emulated_driver/emulated_driver.h"

enum ExitStatus : int {
  kExitGood = 0,
  kExitNegative = 1,  // it ran, and something was not as it should be, such as a negative status
  kExitCannotRun = 2,
};

// What --log-level takes, from the highest priority down.
inline const std::vector<std::string> kLogLevels = {"error", "warn", "info", "debug"};

// `wlc run`: a session of the service against the emulated driver or a running supplicant.
//
// The driver is emulated unless a supplicant's control directory is named, by `controlDirectory` or
// by the setting wpaifPath; with `emulated` it is in any case. The emulated driver listens in a
// private directory, which then takes the place of wpaifPath.
struct RunOptions {
  std::vector<std::string> words;  // without any, and without a script: the built-in session
  std::string script;              // "-" is standard input
  std::string config;
  std::string library;  // empty: the one beside this program
  std::string interface = "wlan0";
  std::string controlDirectory;
  bool emulated = false;
  std::vector<FaultRule> faults;             // of the emulated driver
  std::vector<ServiceClass> serviceClasses;  // of the emulated driver
  std::string selfIp;  // empty: the interface's own, or one for the emulated driver
  std::string peerIp = "192.168.49.2";
  std::string logLevel = "warn";  // one of kLogLevels
  bool json = false;
  bool strict = false;   // differences, missing checks and faults that never fired are failures
  bool summary = false;  // a table in place of each command
  bool times = true;     // without, no socket paths either: two sessions can be compared
  std::string trace;
};
ExitStatus RunSession(const RunOptions& options);

// `wlc driver`: the emulated driver alone, in the foreground, until SIGINT or SIGTERM. Any client
// of a supplicant can talk to it, such as `wlc run --ctrl-dir` or wpa_cli.
struct DriverOptions {
  EmulatedDriverOptions emulated;
  bool verbose = false;  // prints what it receives and answers
};
ExitStatus RunDriver(DriverOptions options);

// `wlc explain`: what the settings in a file will do. The service itself applies and reverts them,
// on an emulated driver and with a private file in place of the driver's node.
//   wlanXRLatencyMode        2             demo.toml:3
//   apply-link-settings sends
//     DRIVER SET_LATENCY_MODE 2
// kExitNegative when `wlc run` would refuse the file.
struct ExplainOptions {
  std::string file;
  std::string interface = "wlan0";
};
ExitStatus Explain(const ExplainOptions& options);

// `wlc replay`: what a device's log says of a session, as a script for `wlc run`; see replay.h.
// kExitNegative when the log shows no commands, or no settings although `settings` is given.
struct ReplayOptions {
  std::string log;       // "-" is standard input
  std::string settings;  // where the logged settings are written, as TOML; empty: nowhere
};
ExitStatus Replay(const ReplayOptions& options);
