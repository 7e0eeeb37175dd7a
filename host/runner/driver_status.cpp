#include "host/runner/driver_status.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>

namespace host {
namespace {

constexpr int kWaitLimitMs = 1000;
constexpr std::string_view kQuestion = "STATUS";

// A datagram socket that is connected to the supplicant and has an address for its answer.
bool ConnectTo(int descriptor, const std::string& path) {
  sockaddr_un peer{};
  peer.sun_family = AF_UNIX;
  if (path.size() >= sizeof(peer.sun_path)) {
    return false;
  }
  std::memcpy(peer.sun_path, path.data(), path.size());
  sockaddr_un self{};
  self.sun_family = AF_UNIX;
  // The family alone: the kernel picks a free abstract address.
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&self), sizeof(self.sun_family)) == 0 &&
         connect(descriptor, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0;
}

std::optional<std::string> Ask(const std::string& path) {
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) {
    return std::nullopt;
  }
  std::optional<std::string> answer;
  if (ConnectTo(descriptor, path) &&
      send(descriptor, kQuestion.data(), kQuestion.size(), MSG_NOSIGNAL) > 0) {
    pollfd waiting{.fd = descriptor, .events = POLLIN, .revents = 0};
    std::array<char, 8192> buffer{};
    if (poll(&waiting, 1, kWaitLimitMs) > 0) {
      const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), 0);
      if (length > 0) {
        answer.emplace(buffer.data(), static_cast<size_t>(length));
      }
    }
  }
  close(descriptor);
  return answer;
}

StatusLines SplitLines(std::string_view text) {
  StatusLines lines;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const size_t equals = line.find('=');
    if (equals != std::string_view::npos) {
      lines.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
  }
  return lines;
}

}  // namespace

StatusAnswer AskDriverStatus(const std::string& controlPath, StatusLines& lines) {
  const std::optional<std::string> answer = Ask(controlPath);
  if (!answer) {
    return StatusAnswer::kSilent;
  }
  StatusLines told = SplitLines(*answer);
  const bool known = std::any_of(told.begin(), told.end(),
                                 [](const auto& line) { return line.first == "latency_mode"; });
  if (!known) {
    return StatusAnswer::kForeign;
  }
  lines = std::move(told);
  return StatusAnswer::kTold;
}

}  // namespace host
