// Does what the framework does: loads the service library, creates the service, sends it packets.
//
// A request goes in as a 320-byte record and its status comes back as another, on a connection of
// the host's own. Example: init is sent as payload 01 and answered with 01 00 00 00 00.
//
// The library is found by path; it is unloaded again when the host goes. One host at a time: a
// process has one service. Not thread-safe.
#pragma once

#include <memory>
#include <optional>

#include "framework/config_parser.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"

// Where the service library is when it was built or installed together with this program.
std::string DefaultLibraryPath();

// What the service's discovery client will find, by the environment that it reads. Without
// `selfIp`, it asks the interface for its address.
void SetDiscovery(const std::string& interface, const std::string& selfIp,
                  const std::string& peerIp);

class ServiceHost : private INuvrelConnection {
 public:
  // Loads `library` and creates the service with `config`, which is borrowed; throws a Refusal that
  // says what is wrong with which library.
  ServiceHost(const std::string& library, nuvrel::ConfigParser& config);
  // Releases the service, which tears itself down, and unloads the library.
  ~ServiceHost() override;

  // Sends one request and waits for it. The status from its reply, or nothing when no proper reply
  // came before the service returned.
  std::optional<int32_t> Send(NuvrelPkt_t request);

 private:
  int SendPacket(NuvrelPkt_t* record, void* extra) override;

  std::unique_ptr<void, int (*)(void*)> mLibrary;
  int (*mRelease)(void*) = nullptr;
  void* mService = nullptr;  // the library's
  std::optional<NuvrelPkt_t> mReply;
};
