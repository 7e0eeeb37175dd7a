#include "wlc/commands.h"

#include <csignal>

#include "wlc/interruption.h"
#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

std::string OneLine(std::string_view text) {
  return Visible(text.substr(0, text.size() - (text.ends_with('\n') ? 1 : 0)));
}

void PrintExchange(const WireExchange& exchange) {
  Print("received {}\n", OneLine(exchange.command));
  for (const std::string& message : exchange.messages) {
    Print("message  {}\n", OneLine(message));
  }
  Print("answered {}\n", exchange.reply.empty() ? "(nothing)" : OneLine(exchange.reply));
  if (!WriteFailure().empty()) {
    (void)std::raise(SIGTERM);  // nobody reads the output any more
  }
}

}  // namespace

ExitStatus RunDriver(DriverOptions options) {
  if (options.verbose) {
    options.emulated.observer = PrintExchange;
  }
  EmulatedDriver driver(std::move(options.emulated));
  driver.Start();
  Print("the emulated driver listens at {} until SIGINT (^C) or SIGTERM\n",
        Visible(driver.SocketPath()));
  PauseUntilInterrupted(std::chrono::milliseconds(-1));
  driver.Stop();
  for (const FaultRule& fault : driver.Faults()) {
    Print("{}\n", Visible(FaultSentence(fault)));
  }
  return kExitGood;
}
