// From a request packet to the operation behind it, and from its result to the status reply.
#include <cstring>

#include "framework/nuvrel_connection.h"
#include "service/contain.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

// Of every status reply, as the framework expects them.
constexpr uint8_t kReplyMsgType = 8;
constexpr uint8_t kReplyPayloadLen = sizeof(uint8_t) + sizeof(int32_t);
constexpr uint8_t kReplyByte259 = 1;
constexpr int32_t kReplyField272 = -1;

}  // namespace

int32_t WirelessLinkConfigService::OnPacket(NuvrelPkt_t* packet) {
  if (packet == nullptr || packet->connection == nullptr) {
    return -1;
  }
  NuvrelPkt request(*packet);
  const auto command = static_cast<NUVREL_WLC_CMD>(request.Read<uint8_t>());
  LOGD("Handling WirelessLinkConfig command 0x%x, 0x%x", request.MsgType(), command);
  int32_t status = -1;
  Contain(__func__, [&] { status = RunCommand(command, request); });
  Contain(__func__, [&] { SendStatus(packet->connection, command, status); });
  return status;
}

int WirelessLinkConfigService::RunCommand(NUVREL_WLC_CMD command, NuvrelPkt& request) {
  switch (command) {
    case NUVREL_WLC_CMD_INIT:
      return Init(&request);
    case NUVREL_WLC_CMD_INIT_LAPB_FLOW:
      return InitLAPBFlow();
    case NUVREL_WLC_CMD_DEINIT:
      DeInit();
      return Peek(&mInitialized) ? -1 : 0;  // another thread may have called Init since
    case NUVREL_WLC_CMD_APPLY_LINK_SETTINGS:
      return ApplyLinkSettings();
    case NUVREL_WLC_CMD_REVERT_LINK_SETTINGS:
      return RevertLinkSettings();
    case NUVREL_WLC_CMD_ADD_LAPB_POLICY: {
      const auto portNum = request.Read<int32_t>();
      const auto splToS = request.Read<uint32_t>();
      const auto defToS = request.Read<uint32_t>();
      const auto latency = request.Read<uint32_t>();
      LOGD("portNum %d, splToS %u, defToS %u latency %u", portNum, splToS, defToS, latency);
      return AddLAPBPolicy(portNum, static_cast<uint8_t>(splToS), static_cast<uint8_t>(defToS),
                           latency);
    }
    case NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES:
      return ClearLAPBPolicies();
    default:
      return -1;
  }
}

void WirelessLinkConfigService::SendStatus(INuvrelConnection* connection, NUVREL_WLC_CMD command,
                                           int status) {
  if (connection == nullptr) {
    LOGW("No nuvrel client handle provided.");
    return;
  }
  NuvrelPkt reply;
  reply.record.reserved259 = kReplyByte259;
  reply.record.reserved272 = kReplyField272;
  reply.record.msgType = kReplyMsgType;
  reply.record.payloadLen = kReplyPayloadLen;
  reply.record.payload[0] = static_cast<uint8_t>(command);
  std::memcpy(reply.record.payload + 1, &status, sizeof(status));
  if (connection->SendPacket(&reply.record, nullptr) < 0) {
    LOGE("Unable to send response after Init Request execution");
  }
}

void WirelessLinkConfigService::OnConnectionLost() {}

int32_t WirelessLinkConfigService::Reserved0() { return 0; }

int32_t WirelessLinkConfigService::Reserved1() { return 0; }
