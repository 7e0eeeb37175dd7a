// A service on its scripted platform, whose packets check their own replies. What derives from it
// sees the service's members.
//
//   Rig rig; EXPECT_EQ(rig.Send(NUVREL_WLC_CMD_INIT), 0); rig.platform.TakeRecord() ...
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "service/wireless_link_config_service.h"
#include "tests/scripted_platform.h"

constexpr char kClientLibrary[] = "libnuvrelservice_client.so";

struct LoaderUnderTest : LibraryLoader {
  using LibraryLoader::mHandles;
  using LibraryLoader::mRefCounts;
};

struct TestParser : nuvrel::ConfigParser {
  using ConfigParser::mIntegers;
  using ConfigParser::mLogMask;
  using ConfigParser::mStrings;
};

struct RecordingConnection : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* record, void* extra) override {
    EXPECT_EQ(extra, nullptr);
    sent.push_back(*record);
    return result;
  }
  std::vector<NuvrelPkt_t> sent;
  int32_t result = 1;
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
  RecordingConnection connection;
};

struct Rig : Surroundings, WirelessLinkConfigService {
  explicit Rig(uint32_t logLevel = 15) : WirelessLinkConfigService(nullptr, &parser) {
    gNuvrelLogLevel = logLevel;
    platform.path = &mWpaCtrlPath;
  }

  // Returns the status; every byte of the one reply is compared.
  int Send(int command, const std::vector<uint32_t>& parameters = {}) {
    connection.sent.clear();
    NuvrelPkt_t request = Request(command, &connection, parameters);
    const int status = OnPacket(&request);
    uint8_t expected[320] = {8, 0, 5, 0, static_cast<uint8_t>(command)};
    std::memcpy(expected + 5, &status, sizeof(status));
    expected[259] = 1;
    std::memset(expected + 272, 0xFF, 4);
    EXPECT_EQ(connection.sent.size(), 1U);
    EXPECT_EQ(std::memcmp(connection.sent.data(), expected, sizeof(expected)), 0);
    return status;
  }
};
