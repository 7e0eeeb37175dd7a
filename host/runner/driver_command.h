// `wlc driver`: the emulated driver alone, in the foreground, until SIGINT or SIGTERM.
//
// Anything that talks to a supplicant can then talk to it: another `wlc run --ctrl-dir`, wpa_cli.
// Fault rules work as in `wlc run`; how often each fired is told at the end.
#ifndef NUVREL_HOST_RUNNER_DRIVER_COMMAND_H_
#define NUVREL_HOST_RUNNER_DRIVER_COMMAND_H_

#include <string>
#include <vector>

#include "host/emulated_driver/fault_rule.h"
#include "host/runner/run_command.h"

namespace host {

struct DriverOptions {
  std::string controlDirectory;
  std::string interface = "wlan0";
  std::vector<std::string> faults;
};

ExitStatus RunDriver(const DriverOptions& options);

// Appends the rules that `texts` write; false with one line in `error`.
bool ParseFaultRules(const std::vector<std::string>& texts, std::vector<FaultRule>& rules,
                     std::string& error);
// How often a rule has fired, for a person.
std::string FaultSentence(const FaultCount& fault);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_DRIVER_COMMAND_H_
