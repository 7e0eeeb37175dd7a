// What wlc does not give the discovery client: texts that do not fit their fields or are not set,
// and interfaces with several addresses or none.
#include "framework/service_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>

#include <new>
#include <utility>

extern "C" void CreateServiceClient(int32_t, ServiceClient**, void*, int32_t);
extern "C" void ReleaseServiceClient(int32_t, ServiceClient*);

// In the system's place, last first.
extern "C" int getifaddrs(ifaddrs** all) noexcept {
  constexpr const char* kAddresses[][2] = {{"wlan0", "10.0.0.3"},
                                           {"wlan0", "10.0.0.2"},
                                           {"wlan0", ""},
                                           {"eth0", "10.0.0.1"},
                                           {"tun0", ""}};
  *all = nullptr;
  for (const auto& [name, address] : kAddresses) {
    auto* ip = *address != 0 ? new (std::nothrow) sockaddr_in{AF_INET, 0, {inet_addr(address)}, {}}
                             : nullptr;
    *all = new (std::nothrow)
        ifaddrs{*all, const_cast<char*>(name), 0, reinterpret_cast<sockaddr*>(ip), {}, {}, {}};
  }
  return 0;
}
extern "C" void freeifaddrs(ifaddrs* one) noexcept {
  while (one != nullptr) {
    delete reinterpret_cast<sockaddr_in*>(one->ifa_addr);
    delete std::exchange(one, one->ifa_next);
  }
}

TEST(ServiceClientTest, RefusesWhatDoesNotFitOrIsNotSet) {
  ServiceClient* client = nullptr;
  CreateServiceClient(4, &client, nullptr, -1);
  const std::string name31(31, 'w'), name32(32, 'w'), ip195(195, '1'), ip196(196, '1');
  const std::string kRows[][3] = {{"", "1", "refused"},       {name31, "", ""},
                                  {name31, ip195, ip195},     {name32, ip195, "refused"},
                                  {name31, ip196, "refused"}, {"tun0", "", ""},
                                  {"eth0", "", "10.0.0.1"},   {"wlan0", "", "10.0.0.2"}};
  for (const auto& [interface, ip, told] : kRows) {
    NetworkInterfaceInfo info{};
    setenv("NUVREL_INTERFACE", interface.c_str(), 1);
    setenv("NUVREL_SELF_IP", ip.c_str(), 1);
    const bool refused = told == "refused";
    EXPECT_EQ(client->GetNetworkInterfaceInfo(&info), refused ? -1 : 0) << interface << " " << ip;
    EXPECT_EQ(info.interfaceName, refused ? "" : interface);
    EXPECT_EQ(info.ipAddress, refused ? "" : told);
    setenv("NUVREL_PEER_IP", ip.c_str(), 1);
    EXPECT_EQ(client->GetPeerInterfaceInfo(nullptr, &info), ip.empty() || ip == ip196 ? -1 : 0);
  }
  ReleaseServiceClient(4, client);
}
