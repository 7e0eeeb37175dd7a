#include "wlc/why_not_open.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>
#include <thread>

#include "emulated_driver/control_socket.h"
#include "platform/control_client.h"

namespace {

// Where the socket should be, and which others there are.
std::string NoSocket(const std::filesystem::path& path) {
  const std::string directory = path.parent_path();
  std::set<std::string> sockets;
  std::error_code failed;
  for (const auto& entry : std::filesystem::directory_iterator(directory, failed)) {
    if (entry.is_socket(failed)) {
      sockets.insert(entry.path().filename());
    }
  }
  return fmt::format("there is no socket {}; {}", path.string(),
                     sockets.empty()
                         ? "is a supplicant running with ctrl_interface=" + directory + "?"
                         : fmt::format("sockets in {}: {}", directory, fmt::join(sockets, ", ")));
}

}  // namespace

std::string WhyNotOpen(const std::string& path, std::chrono::steady_clock::duration tried) {
  if (path.size() > kMaxSocketPath) {
    return fmt::format("{}: the path has {} bytes, a socket's may have {}: use a shorter directory",
                       path, path.size(), kMaxSocketPath);
  }
  const int error = ConnectError(path);
  if (error == ENOENT) {
    return NoSocket(path);
  }
  if (error == ECONNREFUSED) {
    std::error_code ignored;
    return std::filesystem::is_socket(path, ignored)
               ? "nobody listens at " + path + ": its supplicant has ended; start it again"
               : path + " is not a socket: name the supplicant's directory and the interface";
  }
  if (error == EACCES) {
    return "no permission for " + path + ": run wlc as root or in the group of ctrl_interface";
  }
  if (error != 0) {
    return fmt::format("{}: {}", path, std::strerror(error));
  }
  // As the wrapper library opens it.
  errno = 0;
  const auto commands = ControlClient::Open(path);
  const auto monitor = ControlClient::Open(path);
  if (!monitor) {
    return fmt::format("a client's own socket cannot be made: {}: check TMPDIR and ulimit -n",
                       std::strerror(errno));
  }
  if (tried >= ControlClient::kAnswerLimit) {
    return "somebody listens at " + path + ", but did not answer within 10 s";
  }
  try {
    std::thread([] {}).join();
  } catch (const std::system_error&) {
    return "no thread can be started to receive messages: check ulimit -u";
  }
  std::string reply;
  return tried.count() == 0 || monitor->Request("ATTACH", reply) == kDone
             ? ""
             : "the supplicant at " + path + " did not accept ATTACH, so no messages would come";
}
