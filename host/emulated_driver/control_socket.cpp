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

#include "host/refusal.h"

namespace host {
namespace {

constexpr size_t kMaxCommand = 8192;
constexpr int kMaxFailures = 10;

bool IsFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, kMaxSocketPath);
  return address;
}

int OpenDatagramSocket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

bool IsDeadSocket(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) &&
         ConnectError(path) == ECONNREFUSED;
}

}  // namespace

int ConnectError(const std::string& path) {
  const int probe = OpenDatagramSocket();
  const sockaddr_un address = AddressOf(path);
  const bool connected =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  const int error = connected ? 0 : errno;
  close(probe);
  return error;
}

ControlSocket::~ControlSocket() { Close(); }

void ControlSocket::Open(const std::string& directory, const std::string& interface) {
  const std::string path = directory + "/" + interface;
  if (!IsFileName(interface)) {
    throw Refusal("interface \"{}\" is no interface name: give one such as wlan0", interface);
  }
  if (path.size() > kMaxSocketPath) {
    throw Refusal(
        "control socket {}: the path has {} bytes, a socket's may have {}: use a shorter "
        "directory",
        path, path.size(), kMaxSocketPath);
  }
  Close();
  mDescriptor = OpenDatagramSocket();
  if (IsDeadSocket(path)) {
    unlink(path.c_str());
  }
  const sockaddr_un address = AddressOf(path);
  if (bind(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    throw Refusal(
        "control socket {}: {}", path,
        errno == EADDRINUSE
            ? "in use: stop its owner, or choose another directory or interface"
            : fmt::format("{}: the directory must exist and be writable", std::strerror(errno)));
  }
  mPath = path;
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
  // Without a limit recvfrom does the waiting, which saves a system call for every command.
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
