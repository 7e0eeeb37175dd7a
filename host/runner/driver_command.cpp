#include <csignal>

#include "host/emulated_driver/emulated_driver.h"
#include "host/refusal.h"
#include "host/runner/commands.h"
#include "host/runner/output_file.h"
#include "host/visible.h"

namespace host {

ExitStatus RunDriver(const DriverOptions& options) {
  // Blocked before the driver's thread starts, so that the signals are left for sigwait.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  (void)pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  EmulatedDriver driver({.directory = options.controlDirectory,
                         .interface = options.interface,
                         .faults = options.faults});
  driver.Start();
  Print("the emulated driver listens at {} until SIGINT (^C) or SIGTERM\n",
        Visible(driver.SocketPath()));
  int received = 0;
  (void)sigwait(&signals, &received);
  driver.Stop();
  for (const FaultCount& fault : driver.FaultCounts()) {
    Print("{}\n", Visible(FaultSentence(fault)));
  }
  return kExitGood;
}

}  // namespace host
