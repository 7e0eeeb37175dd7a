// The framework's discovery client, from libnuvrelservice_client.so, which is loaded at run time:
// it knows the WLAN interface and the IP addresses of this device and of its peer.
//
// The library creates and destroys the client through two factory functions, looked up by name:
//   "CreateServiceClient"(4, &client, nullptr, -1)   fills client, or leaves it null
//   "ReleaseServiceClient"(4, client)
// What the numbers mean is defined by the framework.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

// The caller fills it with zeros, the client fills it in; TextIn reads its two texts.
struct NetworkInterfaceInfo {
  uint8_t reserved0[4];
  char interfaceName[32];  // such as "wlan0"
  char ipAddress[196];     // such as "192.168.49.1"
};

static_assert(sizeof(NetworkInterfaceInfo) == 232);
static_assert(offsetof(NetworkInterfaceInfo, interfaceName) == 4);
static_assert(offsetof(NetworkInterfaceInfo, ipAddress) == 36);

// The text in a field of the record. It may lack its NUL when it fills its field.
template <size_t kSize>
std::string TextIn(const char (&field)[kSize]) {
  return {field, strnlen(field, kSize)};
}

class ServiceClient {
 public:
  virtual ~ServiceClient() = default;
  virtual int32_t Reserved0() = 0;
  virtual int32_t Reserved1() = 0;
  // Fills `info` for the peer, and may set the byte at `status`.
  virtual int32_t GetPeerInterfaceInfo(uint8_t* status, NetworkInterfaceInfo* info) = 0;
  virtual int32_t Reserved2() = 0;
  // Fills `info` for this device. Negative on failure.
  virtual int32_t GetNetworkInterfaceInfo(NetworkInterfaceInfo* info) = 0;
};

extern "C" {
using CreateServiceClientFn = void (*)(int32_t, ServiceClient**, void*, int32_t);
using ReleaseServiceClientFn = void (*)(int32_t, ServiceClient*);
}
