#include "host/runner/driver_command.h"

#include <csignal>
#include <cstdio>
#include <optional>

#include "host/emulated_driver/emulated_driver.h"

namespace host {

bool ParseFaultRules(const std::vector<std::string>& texts, std::vector<FaultRule>& rules,
                     std::string& error) {
  for (const std::string& text : texts) {
    const std::optional<FaultRule> rule = ParseFaultRule(text, &error);
    if (!rule) {
      return false;
    }
    rules.push_back(*rule);
  }
  return true;
}

std::string FaultSentence(const FaultCount& fault) {
  std::string times = "fired " + std::to_string(fault.fired) + " times";
  if (fault.fired <= 1) {
    times = fault.fired == 0 ? "never fired" : "fired once";
  }
  return "fault " + fault.rule + " " + times;
}

ExitStatus RunDriver(const DriverOptions& options) {
  EmulatedDriverOptions emulation;
  emulation.directory = options.controlDirectory;
  emulation.interface = options.interface;
  std::string error;
  // Blocked before the driver's thread starts, so that the signals are left for sigwait.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  (void)pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  if (!ParseFaultRules(options.faults, emulation.faults, error)) {
    (void)std::fprintf(stderr, "wlc: %s\n", error.c_str());
    return kExitCannotRun;
  }
  EmulatedDriver driver(emulation);
  if (!driver.Start(&error)) {
    (void)std::fprintf(stderr, "wlc: %s\n", error.c_str());
    return kExitCannotRun;
  }
  std::printf("the emulated driver listens at %s until SIGINT (^C) or SIGTERM\n",
              driver.SocketPath().c_str());
  (void)std::fflush(stdout);
  int received = 0;
  (void)sigwait(&signals, &received);
  driver.Stop();
  for (const FaultCount& fault : driver.FaultCounts()) {
    std::printf("%s\n", FaultSentence(fault).c_str());
  }
  return kExitGood;
}

}  // namespace host
