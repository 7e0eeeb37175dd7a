// The service as it ships, for measuring: its shared library, loaded and driven by packets.
//
//   LoadedService service;                       // loaded and created, not initialised
//   service.Send(Request(NUVREL_WLC_CMD_INIT));  // one 320-byte record in, its status back
//
// The connection does nothing with a reply, so what is measured is the service. The wrapper library
// behind it is whatever the program provides: its own, or the workstation's. Settings: TSF
// synchronisation on, all else as the service has it; every log line gated off. One at a time:
// there is one service in a process.
#ifndef NUVREL_BENCH_LOADED_SERVICE_H_
#define NUVREL_BENCH_LOADED_SERVICE_H_

#include <cstdint>
#include <string>

#include "framework/config_parser.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"

namespace bench {

NuvrelPkt_t Request(uint32_t command);
// Binds the flow on `port` to the service class for `latency`.
NuvrelPkt_t AddPolicyRequest(int32_t port, uint32_t latency);

// Ends the program with one line that says what cannot be measured.
[[noreturn]] void Fail(const char* what, const char* why);

class SilentConnection : public INuvrelConnection {
 public:
  int SendPacket(NuvrelPkt_t* record, void* extra) override;
};

class LoadedService {
 public:
  // `controlDirectory` is where the supplicant's control sockets are, if there is one. Ends the
  // program when the library cannot be loaded.
  explicit LoadedService(const std::string& controlDirectory = "");
  // Drops the last reference and unloads the library.
  ~LoadedService();
  LoadedService(const LoadedService&) = delete;
  LoadedService& operator=(const LoadedService&) = delete;

  // Names the connection in `request`, unless it is there already: the service's copy would wait
  // for a store of that moment. Has it handled. The status.
  int32_t Send(NuvrelPkt_t& request) {
    if (request.connection != &mConnection) {
      request.connection = &mConnection;
    }
    return mService->OnPacket(&request);
  }
  int32_t Send(NuvrelPkt_t&& request) { return Send(request); }
  // The same for a command that the measurement cannot do without: ends the program unless it
  // succeeds.
  void MustSend(NuvrelPkt_t& request);
  void MustSend(NuvrelPkt_t&& request) { MustSend(request); }

 private:
  class Settings : public nuvrel::ConfigParser {
   public:
    explicit Settings(const std::string& controlDirectory) {
      mIntegers["nuvrel.services.wirelesslinkconfig.wlanenabletsf"] = 1;
      mStrings["nuvrel.services.wirelesslinkconfig.wpaifpath"] = controlDirectory;
    }
  };

  Settings mSettings;
  SilentConnection mConnection;
  void* mLibrary;
  INuvrelService* mService = nullptr;
};

}  // namespace bench

#endif  // NUVREL_BENCH_LOADED_SERVICE_H_
