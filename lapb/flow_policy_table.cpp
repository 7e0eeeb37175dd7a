// The table of flow policies, one for each UDP port.
//
// The driver owns the policies. The table holds the cookie of each, by which later commands name
// it, read from an answer such as "cookie=7f31 ...".
#include <cstdio>

#include "link/driver_commands.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

// The upper six bits of a ToS byte.
int DscpOf(unsigned char tos) { return tos >> 2; }

// The first word after "cookie=" at the start of `reply`, at most 63 characters of it; empty when
// the reply is anything else.
std::string CookieIn(const std::string& reply) {
  char cookie[64] = {};
  std::sscanf(reply.c_str(), "cookie=%63s", cookie);
  return cookie;
}

}  // namespace

int WirelessLinkConfigService::AddLAPBPolicy(int portNum, unsigned char splToS,
                                             unsigned char defToS, unsigned int latency) {
  if (!LockIfSet(mPolicyLock, &mWpaClient, &mLapbSupported)) {
    LOGW("[%s:%d] Wpa Client Handle is NULL / LAPB Not Supported", NUVREL_HERE);
    return -1;
  }
  std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
  unsigned char serviceId = 0;
  const auto known = mServiceIdMap.find(latency);
  if (known != mServiceIdMap.end()) {
    serviceId = known->second;
  } else {
    if (CreateServiceClass(DscpOf(defToS), DscpOf(splToS), latency, &serviceId) < 0) {
      LOGW("[%s:%d] Unable to create Service ID", NUVREL_HERE);
      return -1;
    }
    mServiceIdMap[latency] = serviceId;
  }

  auto policy = mLapbPolicies.find(portNum);
  if (policy != mLapbPolicies.end()) {
    if (ExecuteDriverCommand(mCmdReply, driver_commands::kPolicyUpdate, policy->second.c_str(),
                             serviceId) < 0) {
      LOGW("[%s:%d] Unable to execute wpa driver command to update LAPB Flow policy", NUVREL_HERE);
      return -1;
    }
  } else {
    if (ExecuteDriverCommand(mCmdReply, driver_commands::kPolicyAdd, mSelfIpAddress.c_str(),
                             mPeerIpAddress.c_str(), portNum, portNum, serviceId) < 0) {
      LOGW("[%s:%d] Unable to execute wpa driver command to add LAPB Flow policy", NUVREL_HERE);
      return -1;
    }
    policy = mLapbPolicies.emplace(portNum, CookieIn(mCmdReply)).first;
  }
  LOGI(
      "[%s:%d] Added LAPB Flow SVC ID = %u, Src IP = %s Dst IP = %s, "
      "port = %d, latency = %u, cookie = %s",
      NUVREL_HERE, serviceId, mSelfIpAddress.c_str(), mPeerIpAddress.c_str(), portNum, latency,
      policy->second.c_str());
  return 0;
}

int WirelessLinkConfigService::DeleteLAPBFlowPolicy(int portNum) {
  if (!LockIfSet(mPolicyLock, &mWpaClient, &mLapbSupported)) {
    LOGW("[%s:%d] Wpa Client Handle is NULL / LAPB Not Supported", NUVREL_HERE);
    return -1;
  }
  std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
  const auto policy = mLapbPolicies.find(portNum);
  if (policy == mLapbPolicies.end()) {
    LOGW("[%s:%d] LAPB Flow for Port Num %d, not configured", NUVREL_HERE, portNum);
    return -1;
  }
  if (ExecuteDriverCommand(mCmdReply, driver_commands::kPolicyDelete, policy->second.c_str()) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to delete LAPB Flow policy", NUVREL_HERE);
    return -1;
  }
  mLapbPolicies.erase(policy);
  return 0;
}

int WirelessLinkConfigService::ClearLAPBPolicies() {
  if (!LockIfSet(mPolicyLock, &mWpaClient, &mLapbSupported)) {
    LOGW("[%s:%d] Wpa Client Handle is NULL / LAPB Not Supported", NUVREL_HERE);
    return -1;
  }
  std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
  return ClearLAPBPolicies(lock);
}

int WirelessLinkConfigService::ClearLAPBPolicies(const std::lock_guard<std::mutex>& /*held*/) {
  if (mWpaClient == nullptr || !mLapbSupported) {
    LOGW("[%s:%d] Wpa Client Handle is NULL / LAPB Not Supported", NUVREL_HERE);
    return -1;
  }
  int result = 0;
  for (const auto& [portNum, cookie] : mLapbPolicies) {
    if (ExecuteDriverCommand(mCmdReply, driver_commands::kPolicyDelete, cookie.c_str()) < 0) {
      LOGW("[%s:%d] Failed to delete LAPB Flow Policy for Port:%d", NUVREL_HERE, portNum);
      result = -1;
    }
  }
  mLapbPolicies.clear();
  return result;
}
