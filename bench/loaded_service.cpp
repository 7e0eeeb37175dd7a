#include "bench/loaded_service.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "framework/log_level.h"

namespace bench {
namespace {

constexpr uint32_t kSpecialTos = 160;
constexpr uint32_t kDefaultTos = 184;

void* Symbol(void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (symbol == nullptr) {
    Fail(name, dlerror());
  }
  return symbol;
}

}  // namespace

void Fail(const char* what, const char* why) {
  std::fprintf(stderr, "%s: %s\n", what, why != nullptr ? why : "no reason given");
  std::exit(1);
}

NuvrelPkt_t Request(uint32_t command) {
  NuvrelPkt_t request{};
  request.payloadLen = 1;
  request.payload[0] = static_cast<uint8_t>(command);
  return request;
}

NuvrelPkt_t AddPolicyRequest(int32_t port, uint32_t latency) {
  NuvrelPkt_t request = Request(NUVREL_WLC_CMD_ADD_LAPB_POLICY);
  const uint32_t values[] = {static_cast<uint32_t>(port), kSpecialTos, kDefaultTos, latency};
  std::memcpy(request.payload + 1, values, sizeof(values));
  request.payloadLen = 1 + sizeof(values);
  return request;
}

int SilentConnection::SendPacket(NuvrelPkt_t* /*record*/, void* /*extra*/) { return 0; }

LoadedService::LoadedService(const std::string& controlDirectory)
    : mSettings(controlDirectory), mLibrary(dlopen(NUVREL_SERVICE_LIBRARY, RTLD_NOW)) {
  if (mLibrary == nullptr) {
    Fail("the service library", dlerror());
  }
  gNuvrelLogLevel = 0;
  // What the workstation's discovery client reports.
  setenv("NUVREL_HOST_INTERFACE", "wlan0", 1);
  setenv("NUVREL_HOST_SELF_IP", "192.168.49.1", 1);
  setenv("NUVREL_HOST_PEER_IP", "192.168.49.2", 1);
  const auto create = reinterpret_cast<void (*)(void**, void*)>(
      Symbol(mLibrary, "CreateWirelessLinkConfigService"));
  ServiceCreateParams params{&mConnection, &mSettings};
  void* service = nullptr;
  create(&service, &params);
  mService = static_cast<INuvrelService*>(service);
}

LoadedService::~LoadedService() {
  const auto release =
      reinterpret_cast<int (*)(void*)>(Symbol(mLibrary, "ReleaseWirelessLinkConfigService"));
  release(mService);
  dlclose(mLibrary);
}

void LoadedService::MustSend(NuvrelPkt_t& request) {
  if (Send(request) < 0) {
    Fail("the service", ("command " + std::to_string(request.payload[0]) + " failed").c_str());
  }
}

}  // namespace bench
