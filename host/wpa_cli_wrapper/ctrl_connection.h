// One connection to a supplicant's control socket: a UNIX datagram socket with a file of its own,
// /tmp/wpa_ctrl_<pid>-<n>, which lives as long as the connection.
//
//   -> DRIVER SET_LATENCY_MODE 2
//   <- OK\n                                  the answer
//   <- <3>CTRL-EVENT-SCAN-STARTED            a message, on an attached connection only
//
// Limits: the control path fits a socket address (107 bytes), a command has at most 8192 bytes (a
// longer one is never answered), an answer is cut at 4096 bytes. One user at a time.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_CTRL_CONNECTION_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_CTRL_CONNECTION_H_

#include <cstdint>
#include <memory>
#include <string>

struct wpa_ctrl;

namespace host {

// Results of a command: success, or why there was none.
constexpr int32_t kDone = 0;
constexpr int32_t kNotSent = -1;   // not open, the command is no command, or the peer is gone
constexpr int32_t kNoAnswer = -2;  // none within 10 s; it may still come
constexpr int32_t kRefused = -3;   // the peer answered FAIL or UNKNOWN COMMAND

class CtrlConnection {
 public:
  // Null when nobody listens at `path`, the path is too long, or the process holds so many files
  // that the client library cannot wait on another. Leaves no socket file behind then.
  static std::unique_ptr<CtrlConnection> Open(const std::string& path);
  // Closes the socket and removes its file.
  ~CtrlConnection();
  CtrlConnection(const CtrlConnection&) = delete;
  CtrlConnection& operator=(const CtrlConnection&) = delete;

  // Sends `command` and waits at most 10 s for the answer (5 s more when the peer's queue is full),
  // which replaces the content of `reply`; without an answer `reply` is empty. After kNoAnswer the
  // connection is of no more use: the answer may still come, and would pass for the next one's.
  int32_t Request(const std::string& command, std::string& reply);

  // Sends without waiting: an answer arrives on Descriptor().
  bool Send(const std::string& command);

  int Descriptor() const;

 private:
  explicit CtrlConnection(wpa_ctrl* connection) : mConnection(connection) {}

  wpa_ctrl* mConnection;  // owned, never null
};

}  // namespace host

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_CTRL_CONNECTION_H_
