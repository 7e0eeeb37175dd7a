// Bringing the service into working order and taking it back out.
#include <dlfcn.h>

#include <cstring>
#include <string>

#include "service/contain.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

constexpr char kClientLibrary[] = "libnuvrelservice_client.so";

// The framework's own arguments to the client factory.
constexpr int32_t kClientKind = 4;
constexpr int32_t kClientDefault = -1;

// The client's code must stay loaded after Init has given back the loader's open of its library.
// The handle is never closed: not every dynamic loader honours RTLD_NODELETE on a library that is
// already open.
void KeepMapped(const char* library) { dlopen(library, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE); }

}  // namespace

int32_t WirelessLinkConfigService::Init(NuvrelPkt* /*packet*/) {
  LOG_ENTRY();
  int32_t status = 0;
  {
    std::lock_guard<std::mutex> lock(mServiceLock);
    if (mInitialized) {
      LOGD("WirelessLinkConfig service already initialized");
      status = 1;
    } else {
      std::lock_guard<std::mutex> driverLock(mPolicyLock);
      if (mServiceClient == nullptr && !CreateDiscoveryClient()) {
        return -1;  // failures leave without the exit line, but for that of a missing handle
      }
      NetworkInterfaceInfo info{};
      if (mServiceClient->GetNetworkInterfaceInfo(&info) < 0) {
        LOGE("[%s] Unable to get Network Interface Information", __func__);
        return -1;
      }
      mInterfaceName = TextIn(info.interfaceName);
      LOGD("[%s] Got Interface - %s", __func__, mInterfaceName.c_str());
      std::erase(mInterfaceName, ' ');
      LoadConfig();
      Set(mWpaClient, GetWpacliWrapperHandle());
      if (mWpaClient == nullptr) {
        LOGE("Failed to get wpacliwrapper handle !");
        status = -1;
      } else if (mWpaClient->OpenCtrlInterface(mWpaCtrlPath) < 0) {
        LOGW("%s() Failed to open network interface %s", __func__, mWpaCtrlPath.c_str());
        mWpaClient->CloseCtrlInterface();
        return -1;
      } else {
        Set(mInitialized, true);
        LOGD("[%s:%d] opened ctrl interface: %s", NUVREL_HERE, mWpaCtrlPath.c_str());
      }
    }
  }
  LOG_EXIT();
  return status;
}

bool WirelessLinkConfigService::CreateDiscoveryClient() {
  const auto create = reinterpret_cast<CreateServiceClientFn>(
      mLibLoader.GetLibFunction(kClientLibrary, "CreateServiceClient"));
  if (create == nullptr) {
    LOGE("Could not find the client creation function in nuvrel service client library");
    return false;
  }
  ServiceClient* client = nullptr;
  create(kClientKind, &client, nullptr, kClientDefault);
  if (client == nullptr) {
    LOGE("Unable to create discovery client for remote IPC support");
    return false;
  }
  LOGD("created discovery client");
  Set(mServiceClient, client);
  KeepMapped(kClientLibrary);
  mLibLoader.CloseLibHandle(kClientLibrary);
  return true;
}

void WirelessLinkConfigService::ReleaseDiscoveryClient() {
  ReleaseServiceClientFn release = nullptr;
  Contain(__func__, [&release, loader = &mLibLoader] {
    release = reinterpret_cast<ReleaseServiceClientFn>(
        loader->GetLibFunction(kClientLibrary, "ReleaseServiceClient"));
  });
  if (release != nullptr) {
    Contain(__func__, [release, client = mServiceClient] { release(kClientKind, client); });
  } else {
    LOGE(
        "Could not find the client release function in nuvrel service client library, calling "
        "delete");
    delete mServiceClient;
  }
  Set(mServiceClient, nullptr);
}

void WirelessLinkConfigService::DeInit() {
  std::lock_guard<std::mutex> lock(mServiceLock);
  std::lock_guard<std::mutex> driverLock(mPolicyLock);
  if (mWpaClient != nullptr) {
    ClearLAPBPolicies(driverLock);
    mServiceIdMap.clear();
    Set(mLapbSupported, false);
    mCmdReply.clear();
  }
  Contain(__func__, ReleaseWpacliWrapperHandle);
  Set(mWpaClient, nullptr);
  if (mServiceClient != nullptr) {
    ReleaseDiscoveryClient();
  }
  if (mInitialized) {
    std::memset(mCmdBuf, 0, sizeof(mCmdBuf));
  }
  delete mLinkConfig;
  Set(mLinkConfig, nullptr);
  Set(mInitialized, false);
  Set(mLapbSupported, false);
  LOG_EXIT();
}
