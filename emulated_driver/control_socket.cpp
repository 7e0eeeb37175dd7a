#include "emulated_driver/control_socket.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <utility>

#include "emulated_driver/refusal.h"

namespace {

constexpr size_t kMaxCommand = 8192;

// Has `call`, which is bind or connect, give `descriptor` the address `path`; 0 or the errno.
int AtPath(int (*call)(int, const sockaddr*, socklen_t), int descriptor, const std::string& path) {
  if (descriptor < 0) {
    return errno;  // of the attempt to open it
  }
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, kMaxSocketPath);
  const int result = call(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  return result == 0 ? 0 : errno;
}

int OpenDatagramSocket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

// Whether `path` is a socket file that nobody serves any more.
bool IsDead(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_socket(path, ignored) && ConnectError(path) == ECONNREFUSED;
}

std::string WhyNotBound(const std::string& path, int error) {
  if (error == EADDRINUSE) {
    std::error_code ignored;
    return std::filesystem::is_socket(std::filesystem::symlink_status(path, ignored))
               ? "in use: stop its owner, or choose another directory or interface"
               : "something that is no socket is in its place: remove it, or choose another "
                 "directory or interface";
  }
  if (error == EWOULDBLOCK) {
    return "its owner has ended, but another process locks the directory: try again";
  }
  const bool atDirectory =
      error == EACCES || error == ENOENT || error == ENOTDIR || error == EROFS || error == EPERM;
  return fmt::format("{}{}", std::strerror(error),
                     atDirectory ? ": its directory must be writable; a missing one is made, but "
                                   "not its parent"
                                 : "");
}

}  // namespace

int ConnectError(const std::string& path) {
  const int probe = OpenDatagramSocket();
  const int error = AtPath(connect, probe, path);
  close(probe);
  return error;
}

void ControlSocket::Open(const std::string& directory, const std::string& interface) {
  Close();
  mPath = directory + "/" + interface;
  if (mPath.size() > kMaxSocketPath) {
    throw Refusal(
        "control socket {}: the path has {} bytes, a socket's may have {}: use a shorter "
        "directory",
        mPath, mPath.size(), kMaxSocketPath);
  }
  mWaitsEnded = false;
  mMadeDirectory = mkdir(directory.c_str(), S_IRWXU | S_IRWXG) == 0 ? directory : "";
  int error = Bind(mDescriptor);
  if (error == EADDRINUSE && IsDead(mPath)) {
    error = ReplaceDead(directory);
  }
  if (error != 0) {
    throw Refusal("control socket {}: {}", mPath, WhyNotBound(mPath, error));
  }
}

// Binds a new socket to mPath; 0 or the errno.
int ControlSocket::Bind(int& descriptor) {
  descriptor = OpenDatagramSocket();
  const int error = AtPath(bind, descriptor, mPath);
  if (error != 0) {
    close(std::exchange(descriptor, -1));
  }
  return error;
}

// The same in place of a dead socket. With the lock, of two that find it dead the second does not
// remove the first one's.
int ControlSocket::ReplaceDead(const std::string& directory) {
  const int lock = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int error = flock(lock, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
  if (error == 0) {
    if (IsDead(mPath)) {
      unlink(mPath.c_str());
    }
    error = Bind(mDescriptor);
  }
  close(lock);
  return error;
}

void ControlSocket::Reopen() {
  if (mAnew < 0) {
    unlink(mPath.c_str());
    shutdown(Bind(mAnew) == 0 ? mDescriptor : -1, SHUT_RD);
  }
}

void ControlSocket::CloseOld() {
  if (mAnew >= 0) {
    dup3(mAnew, mDescriptor, O_CLOEXEC);  // in one step, for EndWaits
    close(std::exchange(mAnew, -1));
  }
}

void ControlSocket::Close() {
  mAttached.clear();
  if (mDescriptor >= 0) {
    CloseOld();
    unlink(mPath.c_str());
    close(std::exchange(mDescriptor, -1));
    rmdir(mMadeDirectory.c_str());
  }
}

void ControlSocket::EndWaits() {
  mWaitsEnded = true;
  shutdown(mDescriptor, SHUT_RD);
}

std::optional<ReceivedCommand> ControlSocket::Receive(int milliseconds) {
  CloseOld();
  if (mWaitsEnded) {
    return std::nullopt;  // it may have been the old one's waits that were ended
  }
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

bool ControlSocket::Send(const PeerAddress& to, std::string_view text) {
  const bool sent =
      sendto(mDescriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(to.data()), static_cast<socklen_t>(to.size())) >= 0;
  if (!sent && (errno == EAGAIN || errno == ENOBUFS)) {
    Reopen();
  }
  return sent;
}

// The kernel counts what clients have not read yet against this one socket, whoever they are.
bool ControlSocket::IsHalfFull() const {
  int unread = 0;
  int room = 0;
  socklen_t size = sizeof(room);
  return ioctl(mDescriptor, SIOCOUTQ, &unread) == 0 &&
         getsockopt(mDescriptor, SOL_SOCKET, SO_SNDBUF, &room, &size) == 0 && unread > room / 2;
}

void ControlSocket::SendToAttached(std::string_view text) {
  if (!IsHalfFull()) {
    std::erase_if(mAttached, [&](const auto& peer) { return !Send(peer, text); });
  }
}
