// A service on its scripted platform, whose packets check their own replies. What derives from it
// sees the service's members.
//
//   Rig rig; EXPECT_EQ(rig.Send(NUVREL_WLC_CMD_INIT), 0); rig.platform.TakeRecord() ...
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "service/wireless_link_config_service.h"
#include "tests/scripted_platform.h"

constexpr char kClientLibrary[] = "libnuvrelservice_client.so";

struct LoaderUnderTest : LibraryLoader {
  using LibraryLoader::mRefCounts;
};

struct TestParser : nuvrel::ConfigParser {
  using ConfigParser::mIntegers;
  using ConfigParser::mLogMask;
  using ConfigParser::mStrings;
};

// Keeps the reply to one request.
struct RecordingConnection : INuvrelConnection {
  explicit RecordingConnection(int32_t sendResult) : result(sendResult) {}
  int SendPacket(NuvrelPkt_t* record, void* extra) override {
    EXPECT_FALSE(reply.has_value() || extra != nullptr);
    reply = *record;
    return result;
  }
  const int32_t result;
  std::optional<NuvrelPkt_t> reply;
};

// A request as the framework sends it: what the service is not to read is 0xEE.
inline NuvrelPkt_t Request(int command, INuvrelConnection* connection,
                           const std::vector<uint32_t>& parameters = {}) {
  NuvrelPkt_t request;
  std::memset(static_cast<void*>(&request), 0xEE, sizeof(request));
  request.msgType = 0x5A;
  request.payload[0] = static_cast<uint8_t>(command);
  std::copy_n(reinterpret_cast<const uint8_t*>(parameters.data()),
              parameters.size() * sizeof(uint32_t), request.payload + 1);
  request.connection = connection;
  return request;
}

struct Surroundings {
  ScriptedPlatform platform;
  TestParser parser;
  int32_t sendResult = 1;  // what sending a reply answers
};

struct Rig : Surroundings, WirelessLinkConfigService {
  explicit Rig(uint32_t logLevel = 15) : WirelessLinkConfigService(nullptr, &parser) {
    gNuvrelLogLevel = logLevel;
    platform.path = &mWpaCtrlPath;
  }

  // Returns the status; every byte of the one reply is compared. Any thread may call it.
  int Send(int command, const std::vector<uint32_t>& parameters = {}) {
    RecordingConnection connection(sendResult);
    NuvrelPkt_t request = Request(command, &connection, parameters);
    const int status = OnPacket(&request);
    uint8_t expected[320] = {8, 0, 5, 0, static_cast<uint8_t>(command)};
    std::memcpy(expected + 5, &status, sizeof(status));
    expected[259] = 1;
    std::memset(expected + 272, 0xFF, 4);
    EXPECT_TRUE(connection.reply.has_value() &&
                std::memcmp(&*connection.reply, expected, sizeof(expected)) == 0);
    return status;
  }
};
