// The socket of a supplicant's control interface: UNIX datagrams at <directory>/<interface>.
//
// A client binds an address of its own and sends one command per datagram; its answer goes back to
// that address. A client that has attached also gets every unsolicited message. Sending never
// waits:
//   Half of the socket's room is taken by what clients have not read yet: messages are dropped, so
//   that answers always find room. (A supplicant queues them, and sends none either meanwhile.)
//   A client does not read its answers, until there is no room for one: the socket is closed and
//   opened again, as a supplicant does. Its clients are refused from then on and have to connect
//   and attach again.
// An attached client to which a message cannot be sent is detached.
// Limits: commands of at most 8192 bytes, paths of at most 107. One thread at a time, except for
// EndWaits.
#pragma once

#include <atomic>
#include <optional>
#include <set>
#include <string>
#include <string_view>

constexpr size_t kMaxSocketPath = 107;  // bytes; what a socket address has room for

// 0 when somebody listens at the socket `path`, or the errno of a connection to it. Sends nothing.
int ConnectError(const std::string& path);

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
  ~ControlSocket() { Close(); }

  // Binds `directory`/`interface`, replacing a socket file that nobody serves, or throws a Refusal.
  // Makes the directory where there is none. Never waits. Of two that replace the same file at
  // once, one is refused.
  void Open(const std::string& directory, const std::string& interface);
  // Closes, forgets who attached, and removes the socket file and a directory that Open has made.
  void Close();
  // Opens the socket again at the same place. From now on clients of the old one are refused, so
  // that no command is lost with it. The old one sends until the next Receive, which closes it.
  void Reopen();

  // Waits at most `milliseconds`, without a limit when below 0, for the next command. Nothing when
  // none came, when it is not to be answered, and after EndWaits.
  std::optional<ReceivedCommand> Receive(int milliseconds);
  // Ends a wait in Receive and all later ones. Any thread may call it while the socket is open.
  void EndWaits();
  bool WaitsEnded() const { return mWaitsEnded; }
  // False when the datagram was not taken.
  bool Send(const PeerAddress& to, std::string_view text);

  void Attach(const PeerAddress& peer) { mAttached.insert(peer); }
  bool Detach(const PeerAddress& peer) { return mAttached.erase(peer) != 0; }  // was attached?
  void SendToAttached(std::string_view text);

 private:
  int Bind(int& descriptor);
  int ReplaceDead(const std::string& directory);
  void CloseOld();
  bool IsHalfFull() const;

  int mDescriptor = -1;
  std::atomic<bool> mWaitsEnded = false;
  int mAnew = -1;  // takes the place of mDescriptor at the next Receive
  std::string mPath;
  std::string mMadeDirectory;  // by Open; empty when it was there
  std::set<PeerAddress> mAttached;
};
