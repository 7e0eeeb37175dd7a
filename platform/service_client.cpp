// The discovery client of a workstation. It discovers nothing, but takes the records from the
// environment:
//   NUVREL_INTERFACE  such as wlan0; without it there is no own record
//   NUVREL_SELF_IP    without it, the interface's first IPv4 address, or none
//   NUVREL_PEER_IP    without it there is no peer record
//
// The variables are read at each call; no other thread may change them during it. A text that does
// not fit its field together with its NUL is refused, not cut. The caller fills the record with
// zeros.
#pragma GCC visibility push(default)
#include "framework/service_client.h"
#include "framework/log_level.h"
#pragma GCC visibility pop

#include <android/log.h>
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>

#include <cstdlib>

namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void Warn(const char* name, const std::string& problem) {
  if ((gNuvrelLogLevel & kNuvrelLogWarn) != 0) {
    __android_log_print(ANDROID_LOG_WARN, "libnuvrelservice_client.so",
                        "%s is %s: set it for the discovery client", name, problem.c_str());
  }
}

// Copies the value of the variable `name` into `field`; false when it is missing, unless it may be,
// or does not fit.
template <size_t kSize>
bool Fill(char (&field)[kSize], const char* name, bool mayBeMissing = false) {
  const std::string value = Environment(name);
  if ((value.empty() && !mayBeMissing) || value.size() >= kSize) {
    Warn(name, value.empty() ? "not set" : "too long");
    return false;
  }
  value.copy(field, value.size());
  return true;
}

// The first IPv4 address of `interface` as text, or "".
std::string AddressOf(const std::string& interface) {
  ifaddrs* all = nullptr;
  char text[INET_ADDRSTRLEN] = "";
  (void)getifaddrs(&all);
  for (const ifaddrs* one = all; one != nullptr && *text == '\0'; one = one->ifa_next) {
    if (interface == one->ifa_name && one->ifa_addr != nullptr &&
        one->ifa_addr->sa_family == AF_INET) {
      getnameinfo(one->ifa_addr, sizeof(sockaddr_in), text, sizeof(text), nullptr, 0,
                  NI_NUMERICHOST);
    }
  }
  freeifaddrs(all);
  return text;
}

class EnvironmentServiceClient : public ServiceClient {
 public:
  int32_t Reserved0() override { return -1; }
  int32_t Reserved1() override { return -1; }
  int32_t Reserved2() override { return -1; }

  int32_t GetPeerInterfaceInfo(uint8_t* /*status*/, NetworkInterfaceInfo* info) override {
    return Fill(info->ipAddress, "NUVREL_PEER_IP") ? 0 : -1;
  }

  // An interface without an address is still an interface: the record then has an empty address.
  int32_t GetNetworkInterfaceInfo(NetworkInterfaceInfo* info) override {
    NetworkInterfaceInfo found{};
    if (!Fill(found.interfaceName, "NUVREL_INTERFACE") ||
        !Fill(found.ipAddress, "NUVREL_SELF_IP", true)) {
      return -1;
    }
    if (*found.ipAddress == '\0') {
      const std::string address = AddressOf(found.interfaceName);
      if (address.empty()) {
        Warn("NUVREL_SELF_IP", std::string("not set, and no address is at ") + found.interfaceName);
      }
      address.copy(found.ipAddress, INET_ADDRSTRLEN);
    }
    *info = found;
    return 0;
  }
};

}  // namespace

extern "C" {

[[gnu::visibility("default")]] void CreateServiceClient(int32_t /*kind*/, ServiceClient** client,
                                                        void* /*context*/, int32_t /*id*/) {
  *client = new EnvironmentServiceClient;
}

[[gnu::visibility("default")]] void ReleaseServiceClient(int32_t /*kind*/, ServiceClient* client) {
  delete client;
}

}  // extern "C"
