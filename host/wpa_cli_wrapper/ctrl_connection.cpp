#include "host/wpa_cli_wrapper/ctrl_connection.h"

#include <fcntl.h>
#include <poll.h>
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): wpa_ctrl.h relies on it
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <mutex>

#include <wpa_ctrl.h>

namespace host {
namespace {

constexpr size_t kMaxCommandBytes = 8192;
constexpr size_t kMaxAnswerBytes = 4096;
constexpr auto kAnswerLimit = std::chrono::seconds(10);  // the client library's own

// The client library numbers its socket files from a plain static counter.
std::mutex gOpenLock;

}  // namespace

bool IsMessage(std::string_view text) {
  return text.starts_with("<") || text.starts_with("IFNAME=");
}

CtrlConnection::CtrlConnection(wpa_ctrl* connection)
    : mConnection(connection), mDescriptor(wpa_ctrl_get_fd(connection)) {
  fcntl(mDescriptor, F_SETFD, FD_CLOEXEC);
  fcntl(mDescriptor, F_SETFL, 0);  // the client library has it return at once
  const timeval limit{kAnswerLimit.count(), 0};
  setsockopt(mDescriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
}

std::unique_ptr<CtrlConnection> CtrlConnection::Open(const std::string& path) {
  if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path) ||
      path.find('\0') != std::string::npos) {
    return nullptr;  // the client library would leave its socket file behind
  }
  const std::lock_guard<std::mutex> lock(gOpenLock);
  wpa_ctrl* opened = wpa_ctrl_open2(path.c_str(), std::getenv("TMPDIR"));
  if (opened == nullptr) {
    opened = wpa_ctrl_open(path.c_str());
  }
  return std::unique_ptr<CtrlConnection>(opened != nullptr ? new CtrlConnection(opened) : nullptr);
}

CtrlConnection::~CtrlConnection() { wpa_ctrl_close(mConnection); }

// Not with the client library's request, whose select has room for descriptors below 1024 only and
// costs one call more: here the socket itself waits, unless a signal ends that.
int32_t CtrlConnection::Request(const std::string& command, std::string& reply) {
  reply.clear();
  if (command.empty() || command.size() > kMaxCommandBytes) {
    return kNotSent;
  }
  const Clock::time_point deadline = Clock::now() + kAnswerLimit;
  while (!Send(command)) {
    if (errno != EAGAIN || !WaitFor(POLLOUT, deadline)) {
      return kNotSent;
    }
  }
  return AwaitAnswer(deadline, reply);
}

int32_t CtrlConnection::AwaitAnswer(Clock::time_point deadline, std::string& reply) const {
  std::array<char, kMaxAnswerBytes> buffer;
  std::optional<std::string_view> answer = Receive(buffer, 0);
  while (!answer && (errno == EINTR || errno == EAGAIN)) {
    if (!WaitFor(POLLIN, deadline)) {
      return kNoAnswer;
    }
    answer = Receive(buffer);
  }
  if (!answer) {
    return kNotSent;
  }
  reply = *answer;
  return kDone;
}

int32_t CtrlConnection::Attach() {
  std::string reply;
  const Clock::time_point deadline = Clock::now() + kAnswerLimit;
  int32_t result = Request("ATTACH", reply);
  while (result == kDone && IsMessage(reply)) {
    result = WaitFor(POLLIN, deadline) ? AwaitAnswer(deadline, reply) : kNoAnswer;
  }
  return result == kDone && !reply.starts_with("OK") ? kRefused : result;
}

bool CtrlConnection::Send(std::string_view text) const {
  return send(mDescriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

std::optional<std::string_view> CtrlConnection::Receive(std::span<char> buffer, int flags) const {
  const ssize_t length = recv(mDescriptor, buffer.data(), buffer.size(), flags);
  return length < 0 ? std::nullopt
                    : std::optional(std::string_view(buffer.data(), static_cast<size_t>(length)));
}

bool CtrlConnection::Wait(Clock::time_point deadline) const { return WaitFor(POLLIN, deadline); }

void CtrlConnection::EndWaits() const { shutdown(mDescriptor, SHUT_RD); }

bool CtrlConnection::WaitFor(short event, Clock::time_point deadline) const {
  pollfd watched{mDescriptor, event, 0};
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      return false;
    }
    const int ready = poll(&watched, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX)));
    if (ready > 0) {
      return true;
    }
    if (ready < 0 && errno != EINTR) {
      return false;
    }
  }
}

}  // namespace host
