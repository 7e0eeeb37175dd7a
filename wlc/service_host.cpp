#include "wlc/service_host.h"

#include <dlfcn.h>

#include <cstring>
#include <filesystem>

#include "emulated_driver/refusal.h"

std::string DefaultLibraryPath() {
  const auto top = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
  const auto built = top / "lib" / kServiceLibrary;
  return std::filesystem::exists(built) ? built : top / WLC_INSTALL_LIBDIR / kServiceLibrary;
}

void SetDiscovery(const std::string& interface, const std::string& selfIp,
                  const std::string& peerIp) {
  setenv("NUVREL_INTERFACE", interface.c_str(), 1);
  setenv("NUVREL_SELF_IP", selfIp.c_str(), 1);
  setenv("NUVREL_PEER_IP", peerIp.c_str(), 1);
}

ServiceHost::ServiceHost(const std::string& library, nuvrel::ConfigParser& config)
    : mLibrary(dlopen(library.c_str(), RTLD_NOW), &dlclose) {
  if (!mLibrary) {
    throw Refusal("cannot load the service: {}; name it with --library PATH", dlerror());
  }
  void* const release = dlsym(mLibrary.get(), "ReleaseWirelessLinkConfigService");
  void* const create =
      release == nullptr ? nullptr : dlsym(mLibrary.get(), "CreateWirelessLinkConfigService");
  if (create == nullptr) {
    throw Refusal("{} is not the service: it lacks an entry point ({})", library, dlerror());
  }
  mRelease = reinterpret_cast<int (*)(void*)>(release);
  ServiceCreateParams params{this, &config};
  reinterpret_cast<void (*)(void**, void*)>(create)(&mService, &params);
  if (mService == nullptr) {
    throw Refusal("{} did not create a service", library);
  }
}

std::optional<int32_t> ServiceHost::Send(NuvrelPkt_t request) {
  constexpr uint8_t kStatusMessage = 8;
  constexpr uint8_t kStatusLength = 5;
  request.connection = this;
  mReply.reset();
  static_cast<INuvrelService*>(mService)->OnPacket(&request);
  if (!mReply || mReply->msgType != kStatusMessage || mReply->payloadLen != kStatusLength ||
      mReply->payload[0] != request.payload[0]) {
    return std::nullopt;
  }
  int32_t status = 0;
  std::memcpy(&status, mReply->payload + 1, sizeof(status));
  return status;
}

int ServiceHost::SendPacket(NuvrelPkt_t* record, void* /*extra*/) {
  mReply = *record;
  return 0;
}
