// The discovery client library under its own name, answering from the test program's script. Built
// WITHOUT_FACTORY or WITHOUT_RELEASE, it lacks that function.
#include <cstring>

#include "framework/service_client.h"
#include "tests/scripted_platform.h"

namespace {

// Texts that fill their field go in without a NUL.
void Fill(const char* call, NetworkInterfaceInfo* info, const std::string& ip) {
  const NetworkInterfaceInfo zeros{};
  const bool zeroed = std::memcmp(info, &zeros, sizeof(zeros)) == 0;
  gPlatform->Called(call + std::string(zeroed ? "" : " with a record not zeroed"));
  gPlatform->interface.copy(info->interfaceName, sizeof(info->interfaceName));
  ip.copy(info->ipAddress, sizeof(info->ipAddress));
}

class ScriptedClient : public ServiceClient {
 public:
  ~ScriptedClient() override { gPlatform->Called("delete client"); }
  int32_t Reserved0() override { return 0; }
  int32_t Reserved1() override { return 0; }
  int32_t GetPeerInterfaceInfo(uint8_t* /*status*/, NetworkInterfaceInfo* info) override {
    Fill("peer", info, gPlatform->peer);
    return -1;
  }
  int32_t Reserved2() override { return 0; }
  int32_t GetNetworkInterfaceInfo(NetworkInterfaceInfo* info) override {
    Fill("network", info, gPlatform->self);
    return gPlatform->network;
  }
};

}  // namespace

extern "C" {
#ifndef WITHOUT_FACTORY
void CreateServiceClient(int32_t kind, ServiceClient** client, void* extra, int32_t last) {
  gPlatform->Called("create " + std::to_string(kind) + (extra == nullptr ? " null " : " ") +
                    std::to_string(last));
  if (gPlatform->client != 0) {
    *client = new ScriptedClient;
  }
}
#endif

#ifndef WITHOUT_RELEASE
void ReleaseServiceClient(int32_t kind, ServiceClient* client) {
  delete client;
  gPlatform->Called("release " + std::to_string(kind));  // which may throw
}
#endif
}
