// The framework's client of the WLAN supplicant's control interface, from
// libnuvrelwpacliwrapper.so.
//
// The library owns the one object; a user borrows it between GetWpacliWrapperHandle and
// ReleaseWpacliWrapperHandle. Texts cross as bytes. Results: negative is failure, all else success.
// Example: ExecuteCommand("DRIVER SET_LATENCY_MODE 2", "", reply, 0) answers 0 with reply "OK\n".
#pragma once

#include <cstdint>
#include <string>

class WpaCliWrapper {
 public:
  virtual ~WpaCliWrapper() = default;

  // Opens the control interface at `path`, the supplicant's socket for one network interface, and
  // starts collecting its unsolicited messages.
  virtual int32_t OpenCtrlInterface(const std::string& path) = 0;
  virtual int32_t CloseCtrlInterface() = 0;

  // Sends one command line and waits for the answer, which replaces the content of `reply`.
  // Negative when the command could not be carried out. `extra` and `flag` are the library's own:
  // "" and 0.
  virtual int32_t ExecuteCommand(const std::string& command, const std::string& extra,
                                 std::string& reply, int32_t flag) = 0;

  // Waits at most `waitLimit` milliseconds for the next unsolicited message that begins with
  // `prefix`; the whole message replaces the content of `message`. Negative when none arrives in
  // time.
  virtual int32_t GetResponse(std::string& message, const std::string& prefix,
                              int32_t waitLimit) = 0;
};

extern "C" {
// Null when no handle is to be had. A second call without a release is allowed.
WpaCliWrapper* GetWpacliWrapperHandle();
// Gives the handle back; allowed without one.
void ReleaseWpacliWrapperHandle();
}
