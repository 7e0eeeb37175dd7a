// A client of a supplicant's control socket, on libwpa_client: a UNIX datagram socket with a socket
// file of its own, wpa_ctrl_<pid>-<n> in TMPDIR or /tmp, which goes when the client goes. The
// supplicant has to see that directory too.
//
//   -> DRIVER SET_LATENCY_MODE 2
//   <- OK\n                                  the answer
//   <- <3>CTRL-EVENT-SCAN-STARTED            a message, to an attached client only
//
// Limits: the control path has at most 107 bytes, a command 8192 (a supplicant never answers a
// longer one); an answer is cut at 4096 bytes, a message at 16384. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct wpa_ctrl;

// Results of a command: success, or why there was none.
constexpr int32_t kDone = 0;
constexpr int32_t kNotSent = -1;    // not open, or nobody listens
constexpr int32_t kNoAnswer = -2;   // none within 10 s; it may still come
constexpr int32_t kRefused = -3;    // the supplicant answered FAIL or UNKNOWN COMMAND
constexpr int32_t kNoCommand = -4;  // no text, or too long

// The wrapper library exports this class for wlc: two copies of libwpa_client in one process number
// their socket files alike and delete each other's.
class __attribute__((visibility("default"))) ControlClient {
 public:
  // Null when nobody listens at `path` or the path is too long.
  static std::unique_ptr<ControlClient> Open(const std::string& path);

  // Sends `command` and waits at most 10 s for its answer, which replaces `reply`. After kNoAnswer
  // close this client: the late answer would be taken for the next command's.
  int32_t Request(const std::string& command, std::string& reply);
  // Asks for messages, which Receive then returns; false when that was refused or not answered.
  bool Attach();
  // The next message, if one has arrived.
  std::optional<std::string> Receive();
  int Descriptor() const;  // readable when a message has arrived

  // Removes the socket files of all clients, for a process that ends without closing them.
  static void RemoveFiles();

 private:
  explicit ControlClient(wpa_ctrl* connection);

  const std::unique_ptr<wpa_ctrl, void (*)(wpa_ctrl*)> mConnection;  // never null
};
