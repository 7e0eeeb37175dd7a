#include "platform/control_client.h"

#include <fcntl.h>
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): wpa_ctrl.h relies on it
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>

#include <wpa_ctrl.h>

namespace {

constexpr size_t kMaxCommandBytes = 8192;
constexpr size_t kMaxAnswerBytes = 4096;
constexpr size_t kMaxMessageBytes = 16384;
// How long one system call waits. The deadline is looked at in between, so this is also by how much
// a command may be late.
constexpr timeval kWaitAtOnce{0, 100'000};

// libwpa_client numbers its socket files from a plain static counter.
std::mutex gOpenLock;

const char* SocketDirectory() {
  const char* directory = std::getenv("TMPDIR");
  return directory != nullptr && *directory == '/' ? directory : "/tmp";
}

bool IsMessage(std::string_view text) {
  return text.starts_with('<') || text.starts_with("IFNAME=");
}

// Whether a call that failed may succeed later, with time left for that.
bool MayRepeat(ControlClient::Clock::time_point deadline) {
  return (errno == EAGAIN || errno == EINTR) && ControlClient::Clock::now() < deadline;
}

}  // namespace

std::unique_ptr<ControlClient> ControlClient::Open(const std::string& path) {
  if (path.size() >= sizeof(sockaddr_un::sun_path)) {
    return nullptr;  // the library would leave its socket file behind
  }
  const std::lock_guard<std::mutex> lock(gOpenLock);
  Connection opened(wpa_ctrl_open2(path.c_str(), SocketDirectory()), &wpa_ctrl_close);
  if (!opened) {
    return nullptr;
  }
  std::unique_ptr<ControlClient> client(new ControlClient(std::move(opened)));
  const int descriptor = client->Descriptor();
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  fcntl(descriptor, F_SETFL, 0);  // not O_NONBLOCK: sending and receiving wait by themselves
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kWaitAtOnce, sizeof(kWaitAtOnce));
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &kWaitAtOnce, sizeof(kWaitAtOnce));
  return client;
}

int32_t ControlClient::Request(const std::string& command, std::string& reply,
                               Clock::time_point deadline) {
  reply.clear();
  if (command.empty() || command.size() > kMaxCommandBytes) {
    return kNoCommand;
  }
  while (Receive() && Clock::now() < deadline) {  // what came twice is not this command's answer
  }
  while (send(Descriptor(), command.data(), command.size(), 0) < 0) {
    if (errno == ECONNREFUSED || errno == ENOTCONN || errno == EPIPE) {
      return kNotSent;
    }
    if (!MayRepeat(deadline)) {
      return kNoAnswer;
    }
  }
  std::array<char, kMaxAnswerBytes> buffer;
  for (;;) {
    const ssize_t length = recv(Descriptor(), buffer.data(), buffer.size(), 0);
    const std::string_view answer(buffer.data(), static_cast<size_t>(std::max<ssize_t>(length, 0)));
    if (length >= 0 && !IsMessage(answer)) {
      reply = answer;
      return answer.starts_with("FAIL") || answer.starts_with("UNKNOWN COMMAND") ? kRefused : kDone;
    }
    if (length >= 0 ? Clock::now() >= deadline : !MayRepeat(deadline)) {
      return kNoAnswer;
    }
  }
}

bool ControlClient::Attach(Clock::time_point deadline) {
  std::string reply;
  return Request("ATTACH", reply, deadline) == kDone && reply == "OK\n";
}

std::optional<std::string> ControlClient::Receive() {
  std::array<char, kMaxMessageBytes> message;
  const ssize_t length = recv(Descriptor(), message.data(), message.size(), MSG_DONTWAIT);
  return length < 0 ? std::nullopt
                    : std::optional(std::string(message.data(), static_cast<size_t>(length)));
}

void ControlClient::RemoveFiles() {
  const std::string own = "wpa_ctrl_" + std::to_string(getpid()) + "-";
  std::error_code ignored;
  for (const auto& file : std::filesystem::directory_iterator(SocketDirectory(), ignored)) {
    if (file.path().filename().string().starts_with(own)) {
      std::filesystem::remove(file, ignored);
    }
  }
}

int ControlClient::Descriptor() const { return wpa_ctrl_get_fd(mConnection.get()); }
