// The framework's packet: a fixed record of 320 bytes that carries a command to a service and the
// status back.
//
//   offset  size  field        in a request                      in a status reply
//   0       1     msgType      the sender's                      8
//   2       1     payloadLen   not read                          5
//   4       255   payload      command byte, then parameters     command byte, then 32-bit status
//   259     1                  not read                          1
//   264     8     connection   where the reply goes              null
//   272     4                  not read                          -1
//
// Payload items follow one another without padding, little-endian, each parameter with 32 bits.
// Example: an add-policy request has its port, special ToS, default ToS and latency at payload
// offsets 1, 5, 9 and 13, and begins with 06 88 13 00 00 for port 5000.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

class INuvrelConnection;

struct NuvrelPkt_t {
  uint8_t msgType;
  uint8_t reserved1;
  uint8_t payloadLen;
  uint8_t reserved3;
  uint8_t payload[255];
  uint8_t reserved259;
  uint8_t reserved260[4];
  INuvrelConnection* connection;  // borrowed; null in a reply
  int32_t reserved272;
  uint8_t reserved276[44];
};

static_assert(sizeof(NuvrelPkt_t) == 320);
static_assert(offsetof(NuvrelPkt_t, payloadLen) == 2);
static_assert(offsetof(NuvrelPkt_t, payload) == 4);
static_assert(offsetof(NuvrelPkt_t, reserved259) == 259);
static_assert(offsetof(NuvrelPkt_t, connection) == 264);
static_assert(offsetof(NuvrelPkt_t, reserved272) == 272);
static_assert(offsetof(NuvrelPkt_t, reserved276) == 276);
static_assert(std::endian::native == std::endian::little, "payload values are copied, not swapped");

// Payload byte 0 of a request, echoed in its reply. The underlying type is fixed, so that any
// received byte is a valid value.
enum NUVREL_WLC_CMD : uint32_t {
  NUVREL_WLC_CMD_INIT = 1,
  NUVREL_WLC_CMD_INIT_LAPB_FLOW = 2,
  NUVREL_WLC_CMD_DEINIT = 3,
  NUVREL_WLC_CMD_APPLY_LINK_SETTINGS = 4,
  NUVREL_WLC_CMD_REVERT_LINK_SETTINGS = 5,
  NUVREL_WLC_CMD_ADD_LAPB_POLICY = 6,
  NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES = 7,
};

// One record and a read position in its payload. Reading past the payload's 255 bytes is the
// caller's error.
class NuvrelPkt {
 public:
  NuvrelPkt() : record(), readOffset(0) {}
  explicit NuvrelPkt(const NuvrelPkt_t& from) : record(from), readOffset(0) {}
  NuvrelPkt(const NuvrelPkt&) = default;
  NuvrelPkt& operator=(const NuvrelPkt&) = default;
  virtual ~NuvrelPkt() = default;

  virtual uint8_t MsgType() { return record.msgType; }
  virtual uint8_t* Payload() { return record.payload; }

  // Returns the next payload value and moves readOffset behind it.
  template <typename T>
  T Read() {
    T value;
    std::memcpy(&value, record.payload + readOffset, sizeof(value));
    readOffset += static_cast<uint32_t>(sizeof(value));
    return value;
  }

  NuvrelPkt_t record;
  uint32_t readOffset;
};

static_assert(sizeof(NuvrelPkt) == 336);
