#include "host/wpa_cli_wrapper/ctrl_connection.h"

#include <fcntl.h>
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): wpa_ctrl.h relies on it
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <mutex>

#include <wpa_ctrl.h>

namespace host {
namespace {

constexpr size_t kMaxCommandBytes = 8192;

// The client library numbers its socket files from a plain static counter.
std::mutex gOpenLock;

}  // namespace

std::unique_ptr<CtrlConnection> CtrlConnection::Open(const std::string& path) {
  if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path) ||
      path.find('\0') != std::string::npos) {
    return nullptr;  // the client library would leave its socket file behind
  }
  const std::lock_guard<std::mutex> lock(gOpenLock);
  wpa_ctrl* opened = wpa_ctrl_open(path.c_str());
  if (opened == nullptr) {
    return nullptr;
  }
  std::unique_ptr<CtrlConnection> connection(new CtrlConnection(opened));
  if (connection->Descriptor() >= FD_SETSIZE) {
    return nullptr;  // the client library waits with select
  }
  fcntl(connection->Descriptor(), F_SETFD, FD_CLOEXEC);
  return connection;
}

CtrlConnection::~CtrlConnection() { wpa_ctrl_close(mConnection); }

int CtrlConnection::Descriptor() const { return wpa_ctrl_get_fd(mConnection); }

int32_t CtrlConnection::Request(const std::string& command, std::string& reply) {
  reply.clear();
  if (command.empty() || command.size() > kMaxCommandBytes) {
    return kNotSent;
  }
  std::array<char, 4096> answer;
  size_t length = answer.size();
  const int result = wpa_ctrl_request(mConnection, command.data(), command.size(), answer.data(),
                                      &length, nullptr);
  if (result < 0) {
    return result == -2 ? kNoAnswer : kNotSent;
  }
  reply.assign(answer.data(), length);
  return kDone;
}

bool CtrlConnection::Send(const std::string& command) {
  return send(Descriptor(), command.data(), command.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

}  // namespace host
