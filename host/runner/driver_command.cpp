#include "host/emulated_driver/emulated_driver.h"
#include "host/refusal.h"
#include "host/runner/commands.h"
#include "host/runner/interruption.h"
#include "host/runner/output_file.h"
#include "host/visible.h"

namespace host {

ExitStatus RunDriver(const DriverOptions& options) {
  EmulatedDriver driver({.directory = options.controlDirectory,
                         .interface = options.interface,
                         .faults = options.faults});
  driver.Start();
  Print("the emulated driver listens at {} until SIGINT (^C) or SIGTERM\n",
        Visible(driver.SocketPath()));
  PauseUntilInterrupted(std::chrono::milliseconds(-1));
  driver.Stop();
  for (const FaultCount& fault : driver.FaultCounts()) {
    Print("{}\n", Visible(FaultSentence(fault)));
  }
  return kExitGood;
}

}  // namespace host
