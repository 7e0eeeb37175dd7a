// `wlc run`: a session of the service against the emulated driver or a running supplicant.
//
// The emulated driver is used unless a control directory is named, by --ctrl-dir or by the
// configuration's wpaifPath; --emulated uses it all the same. It then listens in a private
// directory, which takes the place of wpaifPath.
#ifndef NUVREL_HOST_RUNNER_RUN_COMMAND_H_
#define NUVREL_HOST_RUNNER_RUN_COMMAND_H_

#include <string>
#include <vector>

#include "host/runner/session_output.h"

namespace host {

// What every subcommand of wlc exits with.
enum ExitStatus : int {
  kExitGood = 0,
  kExitNegative = 1,  // it ran, and a status was negative
  kExitCannotRun = 2,
};

struct RunOptions {
  std::vector<std::string> words;  // without any, and without a script: the built-in session
  std::string script;              // "-" is standard input
  std::string config;
  std::string library;  // empty: the one beside this program
  std::string controlDirectory;
  bool emulated = false;
  std::string interface = "wlan0";
  std::string selfIp;  // empty: the interface's own, or one for the emulated driver
  std::string peerIp = "192.168.49.2";
  std::vector<std::string> faults;
  LogLevel logLevel = LogLevel::kWarn;
  bool json = false;
  std::string trace;
};

// Runs to the end and says how it went. What keeps it from running is one line on standard error.
ExitStatus RunSession(const RunOptions& options);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_RUN_COMMAND_H_
