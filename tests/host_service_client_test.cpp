// The discovery client, as the environment makes it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "framework/service_client.h"

extern "C" void CreateServiceClient(int32_t, ServiceClient**, void*, int32_t);
extern "C" void ReleaseServiceClient(int32_t, ServiceClient*);

namespace {

TEST(ServiceClientTest, RecordsSayWhatTheEnvironmentSays) {
  const std::string longName(32, 'w');
  const std::string longAddress(196, '1');
  const struct {
    std::string interface, self, peer;  // empty: not set
    const char* own;                    // "name address", or null for a failure
    const char* other;
  } cases[] = {
      {"wlan0", "10.0.0.1", "10.0.0.2", "wlan0 10.0.0.1", "10.0.0.2"},
      {"lo", "", "", "lo 127.0.0.1", nullptr},
      {"no-such-if", "", "10.0.0.2", "no-such-if ", "10.0.0.2"},
      {"", "10.0.0.1", "10.0.0.2", nullptr, "10.0.0.2"},
      {longName.substr(1), longAddress.substr(1), longAddress.substr(1), nullptr, nullptr},
      {longName, "10.0.0.1", "", nullptr, nullptr},
      {"wlan0", longAddress, longAddress, nullptr, nullptr},
  };
  ServiceClient* client = nullptr;
  CreateServiceClient(4, &client, nullptr, -1);
  ASSERT_NE(client, nullptr);
  for (const auto& one : cases) {
    const std::pair<const char*, std::string> variables[] = {
        {"NUVREL_HOST_INTERFACE", one.interface},
        {"NUVREL_HOST_SELF_IP", one.self},
        {"NUVREL_HOST_PEER_IP", one.peer}};
    for (const auto& [name, value] : variables) {
      value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1);
    }
    const bool longest = one.interface.size() == 31;  // fills each field up to its NUL
    NetworkInterfaceInfo info{};
    EXPECT_EQ(client->GetNetworkInterfaceInfo(&info) >= 0, one.own != nullptr || longest);
    const std::string own = std::string(info.interfaceName) + " " + info.ipAddress;
    EXPECT_EQ(own, longest ? one.interface + " " + one.self : one.own == nullptr ? " " : one.own);
    uint8_t status = 0;
    info = {};
    EXPECT_EQ(client->GetPeerInterfaceInfo(&status, &info) >= 0, one.other != nullptr || longest);
    EXPECT_EQ(info.ipAddress, longest ? one.peer : one.other == nullptr ? "" : one.other);
  }
  ReleaseServiceClient(4, client);
}

}  // namespace
