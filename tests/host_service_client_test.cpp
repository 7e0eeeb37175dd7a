// The discovery client, as the environment makes it.
#include <gtest/gtest.h>

#include "framework/service_client.h"

extern "C" void CreateServiceClient(int32_t, ServiceClient**, void*, int32_t);
extern "C" void ReleaseServiceClient(int32_t, ServiceClient*);

namespace {

void Set(const char* name, const std::string& value) {
  value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1);
}

TEST(ServiceClientTest, RecordsSayWhatTheEnvironmentSays) {
  const std::string name(31, 'w');  // as long as its field takes
  const std::string address(195, '1');
  const struct {
    std::string interface, self, peer;  // empty: not set
    std::string records;                // "result name address, result address"
  } cases[] = {
      {"wlan0", "10.0.0.1", "10.0.0.2", "0 wlan0 10.0.0.1, 0 10.0.0.2"},
      {"lo", "", "", "0 lo 127.0.0.1, -1 "},
      {"no-such-if", "", "10.0.0.2", "0 no-such-if , 0 10.0.0.2"},
      {"", "10.0.0.1", "10.0.0.2", "-1  , 0 10.0.0.2"},
      {name, address, address, "0 " + name + " " + address + ", 0 " + address},
      {name + "w", "10.0.0.1", "", "-1  , -1 "},
      {"wlan0", address + "1", address + "1", "-1  , -1 "},
  };
  ServiceClient* client = nullptr;
  CreateServiceClient(4, &client, nullptr, -1);
  for (const auto& one : cases) {
    Set("NUVREL_HOST_INTERFACE", one.interface);
    Set("NUVREL_HOST_SELF_IP", one.self);
    Set("NUVREL_HOST_PEER_IP", one.peer);
    NetworkInterfaceInfo own{};
    NetworkInterfaceInfo other{};
    std::string records = std::to_string(client->GetNetworkInterfaceInfo(&own));
    records += std::string(" ") + own.interfaceName + " " + own.ipAddress + ", ";
    records += std::to_string(client->GetPeerInterfaceInfo(nullptr, &other));
    EXPECT_EQ(records + " " + other.ipAddress, one.records);
  }
  ReleaseServiceClient(4, client);
}

}  // namespace
