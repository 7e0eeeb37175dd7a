// One connection to a supplicant's control socket: a UNIX datagram socket with a file of its own,
// wpa_ctrl_<pid>-<n> in TMPDIR or /tmp, which lives as long as the connection. The supplicant has
// to see that directory too.
//
//   -> DRIVER SET_LATENCY_MODE 2
//   <- OK\n                                  the answer
//   <- <3>CTRL-EVENT-SCAN-STARTED            a message, on an attached connection only
//
// Limits: the control path fits a socket address (107 bytes), a command has at most 8192 bytes (a
// longer one is never answered), an answer is cut at 4096 bytes. One user at a time, but for Wait,
// which anybody may call meanwhile.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_CTRL_CONNECTION_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_CTRL_CONNECTION_H_

#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct wpa_ctrl;

namespace host {

// Results of a command: success, or why there was none.
constexpr int32_t kDone = 0;
constexpr int32_t kNotSent = -1;   // not open, no command, the peer is gone or takes none for 10 s
constexpr int32_t kNoAnswer = -2;  // none within 10 s; it may still come
constexpr int32_t kRefused = -3;   // the peer answered FAIL or UNKNOWN COMMAND

// Whether `text` is a message rather than an answer, on an attached connection.
bool IsMessage(std::string_view text);

class CtrlConnection {
 public:
  using Clock = std::chrono::steady_clock;

  // Null when nobody listens at `path` or the path is too long. Leaves no socket file behind then.
  static std::unique_ptr<CtrlConnection> Open(const std::string& path);
  // Closes the socket and removes its file.
  ~CtrlConnection();
  CtrlConnection(const CtrlConnection&) = delete;
  CtrlConnection& operator=(const CtrlConnection&) = delete;

  // Sends `command` and waits at most 10 s for the answer (10 s more when the peer's queue is
  // full), which replaces the content of `reply`; without an answer `reply` is empty. After
  // kNoAnswer the connection is of no more use: the answer may still come, and would pass for the
  // next one's.
  int32_t Request(const std::string& command, std::string& reply);

  // Requests ATTACH, and drops messages that come before its answer.
  int32_t Attach();

  // Sends without waiting: an answer is received like a message. False when it was not sent.
  bool Send(std::string_view text) const;

  // What has arrived first and was not received yet, cut to the size of `buffer`, in which it lies.
  // Nothing when nothing has arrived, or when the peer is gone.
  std::optional<std::string_view> Receive(std::span<char> buffer, int flags = MSG_DONTWAIT) const;

  // Waits until something has arrived, or `deadline`, or EndWaits; false at the deadline.
  bool Wait(Clock::time_point deadline) const;
  // Ends every Wait, now and from now on.
  void EndWaits() const;

 private:
  explicit CtrlConnection(wpa_ctrl* connection);
  int32_t AwaitAnswer(Clock::time_point deadline, std::string& reply) const;
  bool WaitFor(short event, Clock::time_point deadline) const;

  wpa_ctrl* mConnection;  // owned, never null
  int mDescriptor;        // the connection's
};

}  // namespace host

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_CTRL_CONNECTION_H_
