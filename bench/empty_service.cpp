// A service that takes a copy of each packet, as a service has to, sends it back and does nothing
// else: what a packet costs before there is any work.
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"

class EmptyService : public INuvrelService {
 public:
  int32_t OnPacket(NuvrelPkt_t* packet) override {
    NuvrelPkt_t copy = *packet;
    return packet->connection->SendPacket(&copy, nullptr);
  }
  void OnConnectionLost() override {}
  int32_t Init(NuvrelPkt* /*packet*/) override { return 0; }
  void DeInit() override {}
  int32_t Reserved0() override { return 0; }
  int32_t Reserved1() override { return 0; }
};

extern "C" void CreateWirelessLinkConfigService(void** service, ServiceCreateParams* /*params*/) {
  static EmptyService empty;
  *service = static_cast<INuvrelService*>(&empty);
}
extern "C" int ReleaseWirelessLinkConfigService(void* /*service*/) { return 0; }
