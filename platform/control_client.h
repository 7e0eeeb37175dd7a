// A client of a supplicant's control socket: a UNIX datagram socket that libwpa_client opens, with
// a socket file of its own, wpa_ctrl_<pid>-<n> in TMPDIR or, when that is no absolute path, /tmp,
// which is removed with the client. The supplicant must be able to see that directory. Sending and
// receiving are our own, since the library waits another 10 s after each message and each signal.
//
//   -> DRIVER SET_LATENCY_MODE 2
//   <- OK\n                                  the answer
//   <- <3>CTRL-EVENT-SCAN-STARTED            a message, to an attached client only
//
// Limits: the control path has at most 107 bytes, a command 8192 (a supplicant never answers a
// longer one); an answer is cut at 4096 bytes, a message at 16384. One thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

struct wpa_ctrl;

// Results of a command: success, or why there was none.
constexpr int32_t kDone = 0;
constexpr int32_t kNotSent = -1;    // not open, or nobody listens
constexpr int32_t kNoAnswer = -2;   // none by the deadline; it may still come
constexpr int32_t kRefused = -3;    // the supplicant answered FAIL or UNKNOWN COMMAND
constexpr int32_t kNoCommand = -4;  // no text, or too long

// The wrapper library exports this class for wlc. Two copies of libwpa_client in one process would
// give their socket files the same names and delete each other's.
class __attribute__((visibility("default"))) ControlClient {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds kAnswerLimit{10};  // as wpa_cli waits

  // Null when nobody listens at `path` or the path is too long.
  static std::unique_ptr<ControlClient> Open(const std::string& path);

  // Sends `command` and waits for its answer, which replaces `reply`. The whole takes no longer
  // than until `deadline`, and a tenth of a second, whatever else arrives meanwhile: messages are
  // dropped. So is what arrived before. After kNoAnswer close this client: the late answer would be
  // taken for the next command's.
  int32_t Request(const std::string& command, std::string& reply,
                  Clock::time_point deadline = Clock::now() + kAnswerLimit);
  // Asks for messages, which Receive then returns; false when that was refused or not answered.
  bool Attach(Clock::time_point deadline);
  // The next message, if one has arrived.
  std::optional<std::string> Receive();
  int Descriptor() const;  // readable when a message has arrived

  // Removes the socket files of all clients, for a process that ends without closing them.
  static void RemoveFiles();

 private:
  using Connection = std::unique_ptr<wpa_ctrl, void (*)(wpa_ctrl*)>;

  explicit ControlClient(Connection connection) : mConnection(std::move(connection)) {}

  const Connection mConnection;  // never null
};
