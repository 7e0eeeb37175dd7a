// The one instance: how it is handed out, counted and destroyed.
#include "service/contain.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

WirelessLinkConfigService* WirelessLinkConfigService::gWLConfigService = nullptr;
int32_t WirelessLinkConfigService::gRefCount = 0;
std::mutex WirelessLinkConfigService::gLock;

void* WirelessLinkConfigService::Create(void* params) {
  LOG_ENTRY();
  std::lock_guard<std::mutex> lock(gLock);
  if (gWLConfigService == nullptr) {
    LOGD("First Instance creation");
    const auto* from = static_cast<const ServiceCreateParams*>(params);
    gWLConfigService = new WirelessLinkConfigService(from->connection, from->configParser);
  }
  LOGD("Instance Ref count-%d, p: %pK", gRefCount, static_cast<void*>(gWLConfigService));
  ++gRefCount;
  LOG_EXIT();
  return gWLConfigService;
}

int WirelessLinkConfigService::Release(void* service) {
  LOG_ENTRY();
  std::lock_guard<std::mutex> lock(gLock);
  LOGD("Got ptr: %pK", service);
  if (service != gWLConfigService) {
    LOGE("Invalid service object passed. Not WirelessLinkConfig service object !!");
    return -1;
  }
  if (gWLConfigService == nullptr) {
    LOGD("No Instance exists");
    LOG_EXIT();
    return 0;
  }
  if (--gRefCount > 0) {
    LOG_EXIT();
    return 0;
  }
  LOGD("Last Reference, Delete Instance, p: %pK", static_cast<void*>(gWLConfigService));
  gWLConfigService->DeInit();
  delete gWLConfigService;
  gWLConfigService = nullptr;
  LOG_EXIT();
  return 0;
}

// mCmdBuf stays uninitialised: every command exchange clears it first.
WirelessLinkConfigService::WirelessLinkConfigService(INuvrelConnection* connection,
                                                     nuvrel::ConfigParser* configParser)
    : mConfigParser(configParser), mConnection(connection) {}

WirelessLinkConfigService::~WirelessLinkConfigService() { WirelessLinkConfigService::DeInit(); }

void CreateWirelessLinkConfigService(void** service, void* params) {
  LOG_ENTRY();
  *service = nullptr;
  Contain(__func__, [&] { *service = WirelessLinkConfigService::Create(params); });
  LOG_EXIT();
}

int ReleaseWirelessLinkConfigService(void* service) {
  LOG_ENTRY();
  const int result = WirelessLinkConfigService::Release(service);
  LOG_EXIT();
  return result;
}
