// Asks a supplicant's control socket for its STATUS, on a connection of this tool's own.
//
// One datagram "STATUS" goes out, one comes back:
//   latency_mode=2
//   policies=1
//   policy[p1]=src 192.168.49.1:5000 dst 192.168.49.2:5000 class 0
// The service's own connections are not involved, so the answer is an independent witness of what
// the driver holds. The asking socket has an abstract address: it leaves no file behind.
// Limits: waits at most one second; the answer is at most 4096 bytes, cut by the supplicant.
#ifndef NUVREL_HOST_RUNNER_DRIVER_STATUS_H_
#define NUVREL_HOST_RUNNER_DRIVER_STATUS_H_

#include <string>

#include "host/runner/session_output.h"

namespace host {

enum class StatusAnswer {
  kTold,     // lines of a driver's state
  kForeign,  // an answer without the driver's state: a supplicant with another driver
  kSilent,   // nobody answered
};

// Asks the socket at `controlPath`. The lines are only written when the state was told.
StatusAnswer AskDriverStatus(const std::string& controlPath, StatusLines& lines);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_DRIVER_STATUS_H_
