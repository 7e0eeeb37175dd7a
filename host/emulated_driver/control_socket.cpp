#include "host/emulated_driver/control_socket.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include "host/refusal.h"

namespace {

constexpr size_t kMaxCommand = 8192;
constexpr size_t kMaxQueued = 2000;
constexpr int kQueueMs = 20;

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, kMaxSocketPath);
  return address;
}

// All 0 when there is no such file.
struct stat FileStatus(const std::string& path) {
  struct stat status {};
  lstat(path.c_str(), &status);
  return status;
}

int OpenDatagramSocket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

}  // namespace

int ConnectError(const std::string& path) {
  const int probe = OpenDatagramSocket();
  const sockaddr_un address = AddressOf(path);
  const int result = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  const int error = result == 0 ? 0 : errno;
  close(probe);
  return error;
}

void ControlSocket::Open(const std::string& directory, const std::string& interface) {
  Close();
  mDirectory = directory;
  mPath = directory + "/" + interface;
  if (mPath.size() > kMaxSocketPath) {
    throw Refusal(
        "control socket {}: the path has {} bytes, a socket's may have {}: use a shorter "
        "directory",
        mPath, mPath.size(), kMaxSocketPath);
  }
  mWaitsEnded = false;
  mMadeDirectory = mkdir(directory.c_str(), S_IRWXU | S_IRWXG) == 0;
  if (const int error = Bind(mDescriptor); error != 0) {
    throw Refusal(
        "control socket {}: {}", mPath,
        error == EADDRINUSE
            ? "in use: stop its owner, or choose another directory or interface"
            : fmt::format(
                  "{}: its directory must be writable; a missing one is made, but not its parent",
                  std::strerror(error)));
  }
}

// Binds a new socket to mPath; 0 or the errno. The lock makes the second of two that find the same
// dead socket wait, and then find the first one's.
int ControlSocket::Bind(int& descriptor) {
  const int directory = open(mDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  flock(directory, LOCK_EX);
  if (S_ISSOCK(FileStatus(mPath).st_mode) && ConnectError(mPath) == ECONNREFUSED) {
    unlink(mPath.c_str());
  }
  const sockaddr_un address = AddressOf(mPath);
  descriptor = OpenDatagramSocket();
  const int result = bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  const int error = result == 0 ? 0 : errno;
  if (error == 0) {
    mFileSerial = FileStatus(mPath).st_ino;
  } else {
    close(std::exchange(descriptor, -1));
  }
  close(directory);
  return error;
}

// Called while the socket is open: no other file gets its file's serial number before it is closed.
void ControlSocket::RemoveFile() {
  if (FileStatus(mPath).st_ino == mFileSerial) {
    unlink(mPath.c_str());
  }
}

void ControlSocket::Reopen() {
  if (mAnew < 0) {
    RemoveFile();
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
  if (mDescriptor < 0) {
    return;
  }
  CloseOld();
  RemoveFile();
  close(std::exchange(mDescriptor, -1));
  if (mMadeDirectory) {
    rmdir(mDirectory.c_str());
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
  SendQueued();
  if (!mQueue.empty()) {
    milliseconds = milliseconds < 0 ? kQueueMs : std::min(milliseconds, kQueueMs);
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

bool ControlSocket::IsHalfFull() const {
  int unread = 0;
  int room = 0;
  socklen_t size = sizeof(room);
  return ioctl(mDescriptor, SIOCOUTQ, &unread) == 0 &&
         getsockopt(mDescriptor, SOL_SOCKET, SO_SNDBUF, &room, &size) == 0 && unread > room / 2;
}

void ControlSocket::SendToAttached(std::string_view text) {
  mQueue.emplace_back(text);
  if (mQueue.size() > kMaxQueued) {
    mQueue.pop_front();
  }
  SendQueued();
}

void ControlSocket::SendQueued() {
  for (; !mQueue.empty() && !IsHalfFull(); mQueue.pop_front()) {
    std::erase_if(mAttached, [&](const auto& peer) { return !Send(peer, mQueue.front()); });
  }
}
