#include "wlc/commands.h"

#include <csignal>

#include "wlc/interruption.h"
#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

std::string OneLine(std::string_view text) {
  return Visible(text.substr(0, text.size() - (text.ends_with('\n') ? 1 : 0)));
}

void PrintExchange(std::chrono::steady_clock::time_point start, const WireExchange& exchange) {
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  Print("{:9.3f} s  received {}\n", time.count(), OneLine(exchange.command));
  for (const std::string& message : exchange.messages) {
    Print("             message  {}\n", OneLine(message));
  }
  Print("             answered {}\n",
        exchange.reply.empty() ? "(nothing)" : OneLine(exchange.reply));
  if (!WriteFailure().empty()) {
    (void)std::raise(SIGTERM);  // nobody reads the output any more
  }
}

}  // namespace

ExitStatus RunDriver(DriverOptions options) {
  if (options.verbose) {
    options.emulated.observer = [start = std::chrono::steady_clock::now()](const auto& exchange) {
      PrintExchange(start, exchange);
    };
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
