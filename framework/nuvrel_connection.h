// The framework's connection: the way a status reply takes back to whoever sent the command.
//
// Owned by the framework. A service calls SendPacket and nothing else.
#pragma once

struct NuvrelPkt_t;

class INuvrelConnection {
 public:
  virtual ~INuvrelConnection() = default;

  // Sends one 320-byte record; it is copied before the call returns. `extra` belongs to the
  // framework and is null for plain records. A negative result means that the record was not sent.
  virtual int SendPacket(NuvrelPkt_t* record, void* extra) = 0;
};
