// The three subcommands of wlc. Each throws a Refusal when it cannot run.
#pragma once

#include <string>
#include <vector>

#include "host/emulated_driver/emulated_driver.h"

enum ExitStatus : int {
  kExitGood = 0,
  kExitNegative = 1,  // it ran, and a status was negative
  kExitCannotRun = 2,
};

// What --log-level takes, from the highest priority down.
inline const std::vector<std::string> kLogLevels = {"error", "warn", "info", "debug"};

// `wlc run`: a session of the service against the emulated driver or a running supplicant.
//
// The emulated driver is used unless --ctrl-dir or the configuration's wpaifPath names a control
// directory; --emulated uses it in any case. It listens in a private directory, which then takes
// the place of wpaifPath.
struct RunOptions {
  std::vector<std::string> words;  // without any, and without a script: the built-in session
  std::string script;              // "-" is standard input
  std::string config;
  std::string library;  // empty: the one beside this program
  bool emulated = false;
  EmulatedDriverOptions driver;  // the interface, the control directory if one is given, and the
                                 // rest of it where the driver is emulated
  std::string selfIp;            // empty: the interface's own, or one for the emulated driver
  std::string peerIp = "192.168.49.2";
  std::string logLevel = "warn";  // one of kLogLevels
  bool json = false;
  bool strict = false;   // what differs or is not checked, and idle faults, count as failures
  bool summary = false;  // a table in place of each command
  std::string trace;
};
ExitStatus RunSession(RunOptions options);

// `wlc driver`: the emulated driver alone, in the foreground, until SIGINT or SIGTERM. Anything
// that talks to a supplicant can then talk to it: another `wlc run --ctrl-dir`, wpa_cli.
// With `verbose` it prints what it receives and answers.
ExitStatus RunDriver(EmulatedDriverOptions options, bool verbose);

// `wlc explain`: what the settings in a file will do. The service itself applies and reverts them,
// on an emulated driver and with a private file in place of the driver's node.
//   wlanXRLatencyMode        2             demo.toml:3
//   apply-link-settings sends
//     DRIVER SET_LATENCY_MODE 2
// kExitNegative when something in the file keeps a session from running with it.
ExitStatus Explain(const std::string& file, const std::string& interface);
