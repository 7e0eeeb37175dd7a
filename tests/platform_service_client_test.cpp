// What wlc does not give the discovery client: texts that do not fit their fields, or none.
#include "framework/service_client.h"

#include <gtest/gtest.h>

extern "C" void CreateServiceClient(int32_t, ServiceClient**, void*, int32_t);
extern "C" void ReleaseServiceClient(int32_t, ServiceClient*);

TEST(ServiceClientTest, RefusesWhatDoesNotFitOrIsNotSet) {
  ServiceClient* client = nullptr;
  CreateServiceClient(4, &client, nullptr, -1);
  for (const auto& [name, address] :
       {std::pair(0U, 1U), {31U, 0U}, {31U, 195U}, {32U, 195U}, {31U, 196U}}) {
    const bool fits = name == 31 && address < 196;  // no such interface, no address: none is told
    NetworkInterfaceInfo info{};
    setenv("NUVREL_INTERFACE", std::string(name, 'w').c_str(), 1);
    setenv("NUVREL_SELF_IP", std::string(address, '1').c_str(), 1);
    EXPECT_EQ(client->GetNetworkInterfaceInfo(&info), fits ? 0 : -1);
    EXPECT_EQ(info.interfaceName, std::string(fits ? name : 0, 'w'));
    EXPECT_EQ(info.ipAddress, std::string(fits ? address : 0, '1'));
  }
  for (const unsigned address : {0U, 195U, 196U}) {
    NetworkInterfaceInfo info{};
    setenv("NUVREL_PEER_IP", std::string(address, '1').c_str(), 1);
    EXPECT_EQ(client->GetPeerInterfaceInfo(nullptr, &info), address == 195 ? 0 : -1);
  }
  ReleaseServiceClient(4, client);
}
