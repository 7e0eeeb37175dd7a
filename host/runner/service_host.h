// The framework's place: loads the service library, creates the service, sends it packets.
//
// A command goes in as a 320-byte record and its status comes back as another, on a connection of
// the host's own. Example: init is sent as payload 01 and answered with 01 00 00 00 00.
//
// The library is found by path; it is unloaded again when the host goes. One host at a time: there
// is one service in a process. Not thread-safe.
#ifndef NUVREL_HOST_RUNNER_SERVICE_HOST_H_
#define NUVREL_HOST_RUNNER_SERVICE_HOST_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "framework/config_parser.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"
#include "host/runner/session_command.h"

namespace host {

// Where the service library lies: beside this program's folder, in the build tree as installed.
std::string DefaultLibraryPath();

class ServiceHost {
 public:
  // Loads `library` and creates the service with `config`, which is borrowed and must outlive the
  // host. Null on failure; `error` then says what is wrong with which library.
  static std::unique_ptr<ServiceHost> Load(const std::string& library, nuvrel::ConfigParser& config,
                                           std::string& error);
  // Releases the service, which tears itself down, and unloads the library.
  ~ServiceHost();
  ServiceHost(const ServiceHost&) = delete;
  ServiceHost& operator=(const ServiceHost&) = delete;

  // Sends one command and waits for it. The status from its reply, or nothing when no proper reply
  // came before the service returned.
  std::optional<int32_t> Send(const Command& command);

 private:
  using CreateFn = void (*)(void** service, void* params);
  using ReleaseFn = int (*)(void* service);

  // Keeps the last reply.
  class ReplyConnection : public INuvrelConnection {
   public:
    int SendPacket(NuvrelPkt_t* record, void* extra) override;
    std::optional<NuvrelPkt_t> mReply;
  };

  ServiceHost() = default;

  void* mLibrary = nullptr;
  ReleaseFn mRelease = nullptr;
  void* mService = nullptr;  // the library's
  ReplyConnection mConnection;
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_SERVICE_HOST_H_
