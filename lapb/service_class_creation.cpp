// Creating driver service classes.
#include <algorithm>

#include "link/driver_commands.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

constexpr int kServiceIdCount = 32;  // the driver's IDs 0 to 31

}  // namespace

int WirelessLinkConfigService::AssignServiceID() {
  for (int candidate = 0; candidate < kServiceIdCount; ++candidate) {
    const bool used =
        std::any_of(mServiceIdMap.begin(), mServiceIdMap.end(),
                    [candidate](const auto& entry) { return entry.second == candidate; });
    if (!used) {
      return candidate;
    }
  }
  return -1;
}

int WirelessLinkConfigService::CreateServiceClass(int defaultDscp, int specialDscp,
                                                  unsigned int latency, unsigned char* serviceId) {
  if (mWpaClient == nullptr || !mLapbSupported) {
    LOGW("[%s:%d] Wpa Client Handle is NULL / LAPB Not Supported", NUVREL_HERE);
    return -1;
  }
  const int id = AssignServiceID();
  if (id < 0) {
    LOGE("[%s:%d] All Service IDs Used. Cannot add new Service ID.", NUVREL_HERE);
    return -1;
  }
  if (ExecuteDriverCommand(mCmdReply, driver_commands::kServiceClassAdd, id, latency, defaultDscp,
                           specialDscp) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to add service policy", NUVREL_HERE);
    return -1;
  }
  LOGI("[%s:%d] Service ID Created = %d", NUVREL_HERE, id);
  *serviceId = static_cast<unsigned char>(id);
  return 0;
}
