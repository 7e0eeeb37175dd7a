// The socket of a supplicant's control interface: UNIX datagrams at <directory>/<interface>.
//
// A client binds an address of its own and sends one command per datagram; its answer goes back to
// that address. A client that has attached also gets every unsolicited message. Sending never
// waits: what a client has no room for is lost. An attached client that is gone is detached at
// once, one that cannot take messages after eleven failures in a row.
// Limits: commands of at most 8192 bytes, paths of at most 107. The system counts what clients have
// not read yet against this one socket, whoever they are: messages stop at three quarters of its
// room, so that commands are answered whatever an attached client leaves unread, but they stop for
// all, who are then all detached. One thread at a time, but for EndWaits.
#ifndef NUVREL_HOST_EMULATED_DRIVER_CONTROL_SOCKET_H_
#define NUVREL_HOST_EMULATED_DRIVER_CONTROL_SOCKET_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// A client's socket address, as its raw bytes.
using PeerAddress = std::string;

struct ReceivedCommand {
  PeerAddress from;
  std::string text;
};

class ControlSocket {
 public:
  ControlSocket() = default;
  ControlSocket(const ControlSocket&) = delete;
  ControlSocket& operator=(const ControlSocket&) = delete;
  ~ControlSocket();  // closes

  // Binds `directory`/`interface`, replacing a socket file that nobody serves. False with one line
  // in `error` otherwise.
  bool Open(const std::string& directory, const std::string& interface, std::string* error);
  // Closes, removes the socket file and forgets who attached.
  void Close();

  // Waits at most `milliseconds`, below 0 as long as it takes, for the next command. Nothing when
  // none came, when it is not to be answered, and after EndWaits.
  std::optional<ReceivedCommand> Receive(int milliseconds);
  // Ends a wait in Receive, and all later ones. Called while it is open.
  void EndWaits() const;
  // False with errno when the datagram was not taken.
  bool Send(const PeerAddress& to, std::string_view text) const;

  void Attach(const PeerAddress& peer);  // once, however often it is called
  bool Detach(const PeerAddress& peer);  // false: was not attached
  void SendToAttached(std::string_view text);

 private:
  bool Bind(std::string* error);
  bool HasRoomForMessages() const;

  int mDescriptor = -1;
  std::string mPath;                     // empty: no file of ours
  std::map<PeerAddress, int> mAttached;  // failures in a row
};

}  // namespace host

#endif  // NUVREL_HOST_EMULATED_DRIVER_CONTROL_SOCKET_H_
