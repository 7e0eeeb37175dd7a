// The framework's service interface: what a service library hands out, and the record it is created
// from.
//
// The framework loads lib<service>.so, calls its two unmangled entry points
//   void Create<Service>(void** service, void* params);   params: a ServiceCreateParams
//   int Release<Service>(void* service);                  0, or negative when refused
// and sends packets to the object through OnPacket: first NUVREL_WLC_CMD_INIT, before flow policies
// NUVREL_WLC_CMD_INIT_LAPB_FLOW, then what is wanted, last NUVREL_WLC_CMD_DEINIT. OnPacket calls
// Init and DeInit itself. The order of the functions below is that of the slots in the table of
// virtual functions, not an order of calls.
#pragma once

#include <cstddef>
#include <cstdint>

class INuvrelConnection;
class NuvrelPkt;
struct NuvrelPkt_t;

namespace nuvrel {
class ConfigParser;
}  // namespace nuvrel

// Owned by the caller, as is what it points at; read only during a call that creates the instance.
struct ServiceCreateParams {
  INuvrelConnection* connection;
  nuvrel::ConfigParser* configParser;
};

static_assert(sizeof(ServiceCreateParams) == 16);
static_assert(offsetof(ServiceCreateParams, configParser) == 8);

class INuvrelService {
 public:
  virtual ~INuvrelService() = default;

  // Handles one request; the status has been sent on the packet's connection when it returns.
  virtual int32_t OnPacket(NuvrelPkt_t* packet) = 0;
  virtual void OnConnectionLost() = 0;
  virtual int32_t Init(NuvrelPkt* packet) = 0;
  virtual void DeInit() = 0;
  virtual int32_t Reserved0() = 0;
  virtual int32_t Reserved1() = 0;
};
