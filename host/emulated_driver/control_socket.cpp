#include "host/emulated_driver/control_socket.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace host {
namespace {

constexpr size_t kMaxCommand = 8192;
constexpr size_t kMaxPath = sizeof(sockaddr_un::sun_path) - 1;
constexpr int kMaxFailures = 10;

bool IsFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, kMaxPath);
  return address;
}

int OpenDatagramSocket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

// Why the file at `path` must stay; empty when it is the socket of an owner that has died.
std::string WhyKept(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
    return "is a file of another kind: remove it";
  }
  const int probe = OpenDatagramSocket();
  const sockaddr_un address = AddressOf(path);
  const bool refused =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 &&
      errno == ECONNREFUSED;
  close(probe);
  return refused ? "" : "is in use: stop its owner";
}

std::string ErrorText() { return std::strerror(errno); }

}  // namespace

ControlSocket::~ControlSocket() { Close(); }

bool ControlSocket::Open(const std::string& directory, const std::string& interface,
                         std::string* error) {
  const std::string path = directory + "/" + interface;
  if (!IsFileName(interface)) {
    *error = "interface \"" + interface + "\" is no interface name: give one such as wlan0";
    return false;
  }
  if (path.size() > kMaxPath) {
    *error = "control socket " + path + ": the path has " + std::to_string(path.size()) +
             " bytes, a socket's may have " + std::to_string(kMaxPath) +
             ": use a shorter directory";
    return false;
  }
  Close();
  mDescriptor = OpenDatagramSocket();
  if (mDescriptor < 0) {
    *error = "control socket " + path + ": cannot open a socket: " + ErrorText();
    return false;
  }
  mPath = path;
  if (Bind(error)) {
    return true;
  }
  mPath.clear();
  Close();
  return false;
}

bool ControlSocket::Bind(std::string* error) {
  const sockaddr_un address = AddressOf(mPath);
  const auto bindOnce = [&] {
    return bind(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  };
  if (bindOnce()) {
    return true;
  }
  if (errno == EADDRINUSE) {
    const std::string why = WhyKept(mPath);
    if (!why.empty()) {
      *error = "control socket " + mPath + " " + why + ", or choose another directory or interface";
      return false;
    }
    unlink(mPath.c_str());
    if (bindOnce()) {
      return true;
    }
  }
  *error =
      "control socket " + mPath + ": " + ErrorText() + ": the directory must exist and be writable";
  return false;
}

void ControlSocket::Close() {
  mAttached.clear();
  if (mDescriptor >= 0) {
    close(mDescriptor);
    mDescriptor = -1;
  }
  if (!mPath.empty()) {
    unlink(mPath.c_str());
    mPath.clear();
  }
}

void ControlSocket::EndWaits() const { shutdown(mDescriptor, SHUT_RD); }

std::optional<ReceivedCommand> ControlSocket::Receive(int milliseconds) {
  // A wait without an end is left to recvfrom, which saves a system call for every command.
  pollfd watched{mDescriptor, POLLIN, 0};
  if (milliseconds >= 0 && poll(&watched, 1, milliseconds) <= 0) {
    return std::nullopt;
  }
  std::array<char, kMaxCommand> buffer;
  sockaddr_un from{};
  socklen_t fromSize = sizeof(from);
  // With MSG_TRUNC the result is the datagram's own length, however much of it fitted.
  const ssize_t size = recvfrom(mDescriptor, buffer.data(), buffer.size(), MSG_TRUNC,
                                reinterpret_cast<sockaddr*>(&from), &fromSize);
  if (size < 0 || static_cast<size_t>(size) > buffer.size() ||
      fromSize <= offsetof(sockaddr_un, sun_path)) {
    return std::nullopt;
  }
  return ReceivedCommand{PeerAddress(reinterpret_cast<const char*>(&from), fromSize),
                         std::string(buffer.data(), static_cast<size_t>(size))};
}

bool ControlSocket::Send(const PeerAddress& to, std::string_view text) const {
  sockaddr_un address{};
  to.copy(reinterpret_cast<char*>(&address), sizeof(address));
  return sendto(mDescriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                reinterpret_cast<const sockaddr*>(&address),
                static_cast<socklen_t>(to.size())) >= 0;
}

void ControlSocket::Attach(const PeerAddress& peer) { mAttached.try_emplace(peer, 0); }

bool ControlSocket::Detach(const PeerAddress& peer) { return mAttached.erase(peer) != 0; }

bool ControlSocket::HasRoomForMessages() const {
  int unread = 0;
  int room = 0;
  socklen_t size = sizeof(room);
  return ioctl(mDescriptor, SIOCOUTQ, &unread) != 0 ||
         getsockopt(mDescriptor, SOL_SOCKET, SO_SNDBUF, &room, &size) != 0 || unread < room / 4 * 3;
}

void ControlSocket::SendToAttached(std::string_view text) {
  for (auto peer = mAttached.begin(); peer != mAttached.end();) {
    int& failures = peer->second;
    errno = EAGAIN;
    if (HasRoomForMessages() && Send(peer->first, text)) {
      failures = 0;
    } else if (errno == ECONNREFUSED || errno == ENOENT || ++failures > kMaxFailures) {
      peer = mAttached.erase(peer);
      continue;
    }
    ++peer;
  }
}

}  // namespace host
