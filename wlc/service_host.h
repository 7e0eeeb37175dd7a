// Does what the framework does: loads the service library, creates the service, sends it packets.
//
// A request goes in as a 320-byte record and its status comes back as another, on a connection of
// the host's own. Example: init is sent as payload 01 and answered with 01 00 00 00 00.
//
// The library is unloaded with the host. One host at a time, since a process has one service. Not
// thread-safe.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "framework/config_parser.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"

// Its file name, and its tag in the log.
inline constexpr char kServiceLibrary[] = "libnuvrelwirelesslinkconfigservice.so";

// The service library that was built or installed together with this program.
std::string DefaultLibraryPath();

// Sets the environment variables that the service's discovery client reads. Without `selfIp` it
// asks the interface for its address.
void SetDiscovery(const std::string& interface, const std::string& selfIp,
                  const std::string& peerIp);

class ServiceHost : private INuvrelConnection {
 public:
  // Loads `library` and creates the service with `config`, which is borrowed. Throws a Refusal when
  // that fails.
  ServiceHost(const std::string& library, nuvrel::ConfigParser& config);
  ~ServiceHost() override { Release(); }  // and unloads the library

  // Releases the service, which tears itself down; no requests after that. What it returned: 0, or
  // negative. Does nothing a second time.
  int32_t Release() { return mService == nullptr ? 0 : mRelease(std::exchange(mService, nullptr)); }

  // Sends one request. The status from its reply, or nothing when the service returned without a
  // proper reply.
  std::optional<int32_t> Send(NuvrelPkt_t request);

 private:
  int SendPacket(NuvrelPkt_t* record, void* extra) override;

  std::unique_ptr<void, int (*)(void*)> mLibrary;
  int (*mRelease)(void*) = nullptr;
  void* mService = nullptr;  // the library's
  std::optional<NuvrelPkt_t> mReply;
};
