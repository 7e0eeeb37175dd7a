// `wlc explain`: what the settings in a file will do, without running anything.
//
// It prints the nine settings in force and where each comes from, the driver commands and node
// writes of apply and revert, and what may surprise:
//   wlanXRLatencyMode        2             demo.toml:3
//   apply-link-settings sends
//     DRIVER SET_LATENCY_MODE 2
// The values are looked up as the service looks them up, so that lower-casing and narrowing show.
#ifndef NUVREL_HOST_RUNNER_EXPLAIN_H_
#define NUVREL_HOST_RUNNER_EXPLAIN_H_

#include <string>

#include "host/runner/run_command.h"

namespace host {

struct ExplainOptions {
  std::string file;
  std::string interface = "wlan0";
};

// kExitGood when a session can run with the file, whatever surprises there are; kExitNegative when
// something in it keeps it from that; kExitCannotRun when it cannot be read.
ExitStatus Explain(const ExplainOptions& options);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_EXPLAIN_H_
