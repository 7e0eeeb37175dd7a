#include "host/wpa_cli_wrapper/control_client.h"

#include <fcntl.h>
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): wpa_ctrl.h relies on it
#include <sys/select.h>
#include <sys/un.h>
#include <unistd.h>

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

// libwpa_client numbers its socket files from a plain static counter.
std::mutex gOpenLock;

const char* SocketDirectory() {
  const char* directory = std::getenv("TMPDIR");
  return directory != nullptr ? directory : "/tmp";
}

}  // namespace

std::unique_ptr<ControlClient> ControlClient::Open(const std::string& path) {
  if (path.size() >= sizeof(sockaddr_un::sun_path)) {
    return nullptr;  // the library would leave its socket file behind
  }
  const std::lock_guard<std::mutex> lock(gOpenLock);
  wpa_ctrl* opened = wpa_ctrl_open2(path.c_str(), SocketDirectory());
  if (opened == nullptr) {
    return nullptr;
  }
  std::unique_ptr<ControlClient> client(new ControlClient(opened));
  if (client->Descriptor() >= FD_SETSIZE) {
    return nullptr;  // the library waits with select, which takes no such descriptor
  }
  fcntl(client->Descriptor(), F_SETFD, FD_CLOEXEC);
  return client;
}

ControlClient::ControlClient(wpa_ctrl* connection) : mConnection(connection, &wpa_ctrl_close) {}

int32_t ControlClient::Request(const std::string& command, std::string& reply) {
  reply.clear();
  if (command.empty() || command.size() > kMaxCommandBytes) {
    return kNoCommand;
  }
  std::array<char, kMaxAnswerBytes> answer;
  size_t length = answer.size();
  const int result = wpa_ctrl_request(mConnection.get(), command.data(), command.size(),
                                      answer.data(), &length, nullptr);
  if (result != 0) {
    const bool gone = errno == ECONNREFUSED || errno == ENOTCONN || errno == EPIPE;
    return result == -1 && gone ? kNotSent : kNoAnswer;
  }
  reply.assign(answer.data(), length);
  return reply.starts_with("FAIL") || reply.starts_with("UNKNOWN COMMAND") ? kRefused : kDone;
}

bool ControlClient::Attach() { return wpa_ctrl_attach(mConnection.get()) == 0; }

std::optional<std::string> ControlClient::Receive() {
  std::array<char, kMaxMessageBytes> message;
  size_t length = message.size();
  return wpa_ctrl_recv(mConnection.get(), message.data(), &length) == 0
             ? std::optional(std::string(message.data(), length))
             : std::nullopt;
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
