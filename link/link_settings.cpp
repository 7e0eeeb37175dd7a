// Switching the link between XR and normal operation.
#include "link/driver_commands.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

int WirelessLinkConfigService::ApplyLinkSettings() {
  if (!LockIfSet(mPolicyLock, &mLinkConfig)) {
    LOGW("[%s:%d] Failed, Link Configuration is not available", NUVREL_HERE);
    return -1;
  }
  std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
  int result = 0;
  if (ApplyWpaCliLinkConfiguration() < 0) {
    LOGW("[%s:%d] Failed to apply all wpa_client configurations", NUVREL_HERE);
    result = -1;
  }
  if (ApplySysfsLinkConfiguration() < 0) {
    LOGW("[%s:%d] Failed to apply all sysfs interface based link configurations", NUVREL_HERE);
    result = -1;
  }
  return result;
}

int WirelessLinkConfigService::RevertLinkSettings() {
  if (!LockIfSet(mPolicyLock, &mLinkConfig)) {
    LOGW("[%s:%d] Failed, Link Configuration is not available", NUVREL_HERE);
    return -1;
  }
  std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
  int result = 0;
  if (RevertWpaCliLinkConfiguration() < 0) {
    LOGW("[%s:%d] Failed to revert all wpa_client configurations", NUVREL_HERE);
    result = -1;
  }
  RevertSysfsLinkConfiguration();
  return result;
}

int WirelessLinkConfigService::ApplyWpaCliLinkConfiguration() {
  if (mWpaClient == nullptr) {
    LOGW("[%s:%d] Wpa Client Handle is NULL", NUVREL_HERE);
    return -1;
  }
  int result = 0;
  std::string reply;
  if (ExecuteDriverCommand(reply, driver_commands::kSetLatencyMode,
                           static_cast<uint32_t>(mLinkConfig->wlanXRLatencyMode)) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to set xr latency mode.", NUVREL_HERE);
    result = -1;
  }
  if (mLinkConfig->wlanEnableTsf &&
      ExecuteDriverCommand(reply, driver_commands::kTsfSyncStart,
                           static_cast<uint32_t>(mLinkConfig->wlanTsfSyncInterval)) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to start tsf.", NUVREL_HERE);
    result = -1;
  }
  if (ExecuteDriverCommand(reply, driver_commands::kSetTxRatemask,
                           mLinkConfig->wlanSetRatemask.c_str()) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to set xr mode ratemask.", NUVREL_HERE);
    result = -1;
  }
  return result;
}

int WirelessLinkConfigService::RevertWpaCliLinkConfiguration() {
  if (mWpaClient == nullptr) {
    LOGW("[%s:%d] Wpa Client Handle is NULL", NUVREL_HERE);
    return -1;
  }
  int result = 0;
  std::string reply;
  if (ExecuteDriverCommand(reply, driver_commands::kSetLatencyMode,
                           static_cast<uint32_t>(mLinkConfig->wlanNormalLatencyMode)) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to set normal latency mode.", NUVREL_HERE);
    result = -1;
  }
  if (mLinkConfig->wlanEnableTsf &&
      ExecuteDriverCommand(reply, driver_commands::kTsfSyncStop) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to stop tsf.", NUVREL_HERE);
    result = -1;
  }
  if (ExecuteDriverCommand(reply, driver_commands::kSetTxRatemask,
                           mLinkConfig->wlanOriginalRatemask.c_str()) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to set all rate mask.", NUVREL_HERE);
    result = -1;
  }
  return result;
}
