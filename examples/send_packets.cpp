// The framework's part, in short: fills the settings, creates the service, sends it packets and
// prints each reply. On a workstation, with an emulated driver:
//   wlc driver --ctrl-dir /tmp/ctrl & sleep 1
//   NUVREL_INTERFACE=wlan0 NUVREL_SELF_IP=192.168.49.1 NUVREL_PEER_IP=192.168.49.2 \
//     send_packets /tmp/ctrl
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "framework/config_parser.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"

// Settings that differ from their defaults, by lower-case key.
struct Settings : nuvrel::ConfigParser {
  explicit Settings(const std::string& controlDirectory) {
    mStrings["nuvrel.services.wirelesslinkconfig.wpaifpath"] = controlDirectory;
    mIntegers["nuvrel.services.wirelesslinkconfig.wlanenabletsf"] = 1;
  }
};

struct Replies : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* record, void* /*extra*/) override {
    int32_t status = 0;
    std::memcpy(&status, record->payload + 1, sizeof(status));
    std::printf("command %d: status %d\n", record->payload[0], status);
    return 0;
  }
};

int Send(INuvrelService* service, INuvrelConnection* replies, NUVREL_WLC_CMD command,
         std::initializer_list<uint32_t> parameters = {}) {
  NuvrelPkt_t packet{};
  packet.connection = replies;
  packet.payload[0] = static_cast<uint8_t>(command);
  uint8_t* end = packet.payload + 1;
  for (const uint32_t parameter : parameters) {
    std::memcpy(end, &parameter, sizeof(parameter));
    end += sizeof(parameter);
  }
  return service->OnPacket(&packet);
}

int main(int count, char** arguments) {
  void* library = dlopen("libnuvrelwirelesslinkconfigservice.so", RTLD_NOW);
  if (count != 2 || library == nullptr) {
    std::fprintf(stderr, "%s\n", library ? "send_packets CONTROL_DIRECTORY" : dlerror());
    return 2;
  }
  const auto create =
      reinterpret_cast<void (*)(void**, void*)>(dlsym(library, "CreateWirelessLinkConfigService"));
  const auto release =
      reinterpret_cast<int (*)(void*)>(dlsym(library, "ReleaseWirelessLinkConfigService"));
  Settings settings(arguments[1]);
  Replies replies;
  ServiceCreateParams params{&replies, &settings};
  void* instance = nullptr;
  create(&instance, &params);
  auto* service = static_cast<INuvrelService*>(instance);
  int worst = Send(service, &replies, NUVREL_WLC_CMD_INIT);
  worst |= Send(service, &replies, NUVREL_WLC_CMD_INIT_LAPB_FLOW);
  worst |= Send(service, &replies, NUVREL_WLC_CMD_ADD_LAPB_POLICY, {5000, 160, 184, 20});
  worst |= Send(service, &replies, NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES);
  worst |= Send(service, &replies, NUVREL_WLC_CMD_DEINIT);
  release(instance);
  return worst < 0 ? 1 : 0;
}
