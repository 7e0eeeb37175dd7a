// The framework's service interface: what a service library hands out, and the record it is created
// from.
//
// The framework loads lib<service>.so, calls its two unmangled entry points
//   void Create<Service>(void** service, void* params);   params: a ServiceCreateParams
//   int Release<Service>(void* service);                  0, or negative when refused
// and drives the object through the slots below, in this order.
#pragma once

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
