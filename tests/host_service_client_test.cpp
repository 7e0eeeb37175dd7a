// The discovery client, as the environment makes it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

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
    std::string own, other;             // "result name address" and "result address"
  } cases[] = {
      {"wlan0", "10.0.0.1", "10.0.0.2", "0 wlan0 10.0.0.1", "0 10.0.0.2"},
      {"lo", "", "", "0 lo 127.0.0.1", "-1 "},
      {"no-such-if", "", "10.0.0.2", "0 no-such-if ", "0 10.0.0.2"},
      {"", "10.0.0.1", "10.0.0.2", "-1  ", "0 10.0.0.2"},
      {name, address, address, "0 " + name + " " + address, "0 " + address},
      {name + "w", "10.0.0.1", "", "-1  ", "-1 "},
      {"wlan0", address + "1", address + "1", "-1  ", "-1 "},
  };
  ServiceClient* client = nullptr;
  CreateServiceClient(4, &client, nullptr, -1);
  ASSERT_NE(client, nullptr);
  for (const auto& one : cases) {
    Set("NUVREL_HOST_INTERFACE", one.interface);
    Set("NUVREL_HOST_SELF_IP", one.self);
    Set("NUVREL_HOST_PEER_IP", one.peer);
    uint8_t status = 0;
    NetworkInterfaceInfo own{};
    NetworkInterfaceInfo other{};
    const std::string ownResult = std::to_string(client->GetNetworkInterfaceInfo(&own));
    const std::string otherResult = std::to_string(client->GetPeerInterfaceInfo(&status, &other));
    EXPECT_EQ(ownResult + " " + own.interfaceName + " " + own.ipAddress, one.own);
    EXPECT_EQ(otherResult + " " + other.ipAddress, one.other);
  }
  ReleaseServiceClient(4, client);
}

}  // namespace
