// Learning the flow addresses and the driver's service classes.
//
// The driver answers SERVICE_CLASS_SHOW with unsolicited messages: first a count, such as
//   <3>SVC-EVENT: svc_count:2
// then classes in parentheses, ID and latency and two numbers not used, behind a heading in the
// first such message:
//   <3>SVC-EVENT: (a heading) (3, 20, 0, 0) (4, 40, 0, 0)
#include <cstdio>
#include <regex>

#include "link/driver_commands.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

constexpr char kEventPrefix[] = "<3>SVC-EVENT:";
constexpr char kClassPattern[] = "\\((.*?)\\)";
constexpr int32_t kEventWaitMs = 1500;  // for each message

// More than 254 classes need at their longest (6.4 KB), the most that one message may hold before
// the 8-bit pass counter wraps. The limit is there for libstdc++, whose regular expressions recurse
// once per character between "(" and ")", with some 160 bytes of the caller's stack each and
// several times that unoptimised; libc++, a headset's, does not recurse.
constexpr size_t kMaxMessageLength = 8192;

// Stores a class such as "3, 20, 0, 0" by its latency; a number that does not scan counts as 0, and
// so do those behind it.
void StoreServiceClass(const std::string& group,
                       std::unordered_map<uint32_t, uint8_t>& serviceIds) {
  uint32_t numbers[4] = {};  // ID, latency and two that are not used
  std::sscanf(group.c_str(), "%u, %u, %u, %u", &numbers[0], &numbers[1], &numbers[2], &numbers[3]);
  serviceIds[numbers[1]] = static_cast<uint8_t>(numbers[0]);
}

}  // namespace

int WirelessLinkConfigService::InitLAPBFlow() {
  LOG_ENTRY();
  if (!LockIfSet(mPolicyLock, &mWpaClient, &mServiceClient)) {
    LOGW("[%s:%d] Wpa Client or Discovery Client  Handle is NULL", NUVREL_HERE);
    LOG_EXIT();
    return -1;
  }
  std::lock_guard<std::mutex> lock(mPolicyLock, std::adopt_lock);
  NetworkInterfaceInfo peer{};
  uint8_t peerStatus = 0;
  mServiceClient->GetPeerInterfaceInfo(&peerStatus, &peer);
  mPeerIpAddress = TextIn(peer.ipAddress);
  NetworkInterfaceInfo self{};
  if (mServiceClient->GetNetworkInterfaceInfo(&self) < 0) {
    LOGE("Unable to get Self device IP address.");
    LOG_EXIT();
    return -1;
  }
  mSelfIpAddress = TextIn(self.ipAddress);
  LOGD("[%s:%d] Src IP=%s, Dst IP=%s", NUVREL_HERE, mSelfIpAddress.c_str(), mPeerIpAddress.c_str());
  if (UpdateServiceIDMap() < 0) {
    LOGW("[%s:%d] Unable to get Service ID Map", NUVREL_HERE);
    LOG_EXIT();
    return -1;
  }
  Set(mLapbSupported, true);
  LOG_EXIT();
  return 0;
}

int WirelessLinkConfigService::UpdateServiceIDMap() {
  LOGI("[%s:%d] ", NUVREL_HERE);
  if (mWpaClient == nullptr) {
    LOGW("[%s:%d] Wpa Client Handle is NULL", NUVREL_HERE);
    return -1;
  }
  std::string reply;
  if (ExecuteDriverCommand(reply, driver_commands::kServiceClassShow) < 0) {
    LOGW("[%s:%d] Unable to execute wpa driver command to show service classes", NUVREL_HERE);
    return -1;
  }
  LOGD("GetResponse %s", reply.c_str());
  if (mWpaClient->GetResponse(reply, kEventPrefix, kEventWaitMs) < 0) {
    LOGW("[%s:%d] No Responses Available", NUVREL_HERE);
    return -1;
  }
  LOGD("Response from GetResponse %s", reply.c_str());
  uint32_t svcCount = 0;
  if (std::sscanf(reply.c_str(), "<3>SVC-EVENT: svc_count:%u", &svcCount) == 0) {
    LOGE("[%s:%d] Could not Extract SVC Count from response", NUVREL_HERE);
    return -1;
  }
  LOGD("[%s:%d] Num Service Class IDs = %u", NUVREL_HERE, svcCount);
  if (UpdateServiceIDMap(svcCount, reply) < 0) {
    return -1;
  }
  for (const auto& [latency, id] : mServiceIdMap) {
    LOGI("[%s:%d] Service Class Latency = %u, SVC ID = %u", NUVREL_HERE, latency, id);
  }
  LOGD("Returning  [%s:%d]", NUVREL_HERE);
  return 0;
}

int WirelessLinkConfigService::UpdateServiceIDMap(uint32_t svcCount, std::string& message) {
  uint8_t pass = 0;
  while (svcCount > pass) {
    if (mWpaClient->GetResponse(message, kEventPrefix, kEventWaitMs) < 0) {
      LOGE("[%s:%d] Could not read response", NUVREL_HERE);
      return -1;
    }
    std::vector<std::string> groups;
    if (!ExtractInfoFromResponse(groups, message, kClassPattern)) {
      LOGW("[%s:%d] No Matching Pattern(%s) from Response : %s", NUVREL_HERE, kClassPattern,
           message.c_str());
      return -1;
    }
    const size_t first = pass == 0 ? 1 : 0;  // the heading
    for (size_t i = first; i < groups.size(); ++i) {
      StoreServiceClass(groups[i], mServiceIdMap);
    }
    pass = static_cast<uint8_t>(pass + (groups.size() - first) + 1);
  }
  return 0;
}

// Both texts are taken by value: the signature is part of the exported interface.
// NOLINTBEGIN(performance-unnecessary-value-param)
bool WirelessLinkConfigService::ExtractInfoFromResponse(std::vector<std::string>& groups,
                                                        std::string text, std::string pattern) {
  // NOLINTEND(performance-unnecessary-value-param)
  if (text.size() > kMaxMessageLength) {
    return false;
  }
  const std::regex expression(pattern);
  int32_t matches = 0;
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
       ++match) {
    groups.push_back((*match)[1].str());
    ++matches;
  }
  return matches != 0;
}
