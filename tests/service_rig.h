// A service on its scripted platform: its members in view, and packets that check their own
// replies.
//
//   Rig rig; EXPECT_EQ(rig.Send(NUVREL_WLC_CMD_INIT), 0); rig.platform.TakeRecord() ...
#ifndef NUVREL_TESTS_SERVICE_RIG_H_
#define NUVREL_TESTS_SERVICE_RIG_H_

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

struct ServiceUnderTest : WirelessLinkConfigService {
  using WirelessLinkConfigService::mCmdBuf;
  using WirelessLinkConfigService::mCmdReply;
  using WirelessLinkConfigService::mInitialized;
  using WirelessLinkConfigService::mInterfaceName;
  using WirelessLinkConfigService::mLapbPolicies;
  using WirelessLinkConfigService::mLapbSupported;
  using WirelessLinkConfigService::mLibLoader;
  using WirelessLinkConfigService::mLinkConfig;
  using WirelessLinkConfigService::mPeerIpAddress;
  using WirelessLinkConfigService::mSelfIpAddress;
  using WirelessLinkConfigService::mServiceClient;
  using WirelessLinkConfigService::mServiceIdMap;
  using WirelessLinkConfigService::mUnitTestTargetValue;
  using WirelessLinkConfigService::mWpaClient;
  using WirelessLinkConfigService::mWpaCtrlPath;
  using WirelessLinkConfigService::WirelessLinkConfigService;
};

struct TestParser : nuvrel::ConfigParser {
  using ConfigParser::mIntegers;
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
inline NuvrelPkt_t Request(uint8_t command, INuvrelConnection* connection,
                           const std::vector<uint32_t>& parameters = {}) {
  NuvrelPkt_t request;
  std::memset(static_cast<void*>(&request), 0xEE, sizeof(request));
  request.msgType = 0x5A;
  request.payload[0] = command;
  std::copy_n(reinterpret_cast<const uint8_t*>(parameters.data()),
              parameters.size() * sizeof(uint32_t), request.payload + 1);
  request.connection = connection;
  return request;
}

struct Rig {
  explicit Rig(uint32_t logLevel = 15) { gNuvrelLogLevel = logLevel; }

  // Returns the status; every byte of the one reply is compared.
  int Send(uint8_t command, const std::vector<uint32_t>& parameters = {}) {
    connection.sent.clear();
    NuvrelPkt_t request = Request(command, &connection, parameters);
    const int status = service.OnPacket(&request);
    uint8_t expected[320] = {8, 0, 5, 0, command};
    std::memcpy(expected + 5, &status, sizeof(status));
    expected[259] = 1;
    std::memset(expected + 272, 0xFF, 4);
    EXPECT_EQ(connection.sent.size(), 1U);
    EXPECT_EQ(std::memcmp(connection.sent.data(), expected, sizeof(expected)), 0);
    return status;
  }

  ScriptedPlatform platform;
  TestParser parser;
  RecordingConnection connection;
  ServiceUnderTest service{nullptr, &parser};
};

#endif  // NUVREL_TESTS_SERVICE_RIG_H_
