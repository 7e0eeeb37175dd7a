// What the in-process tests of the service share: the service with its members in view, captured
// log lines, and a packet that checks its own reply.
//
//   TEST_F(ServiceTest, ...) { EXPECT_EQ(Send(kInit), 0); EXPECT_EQ(TakeLog(), Lines({...})); }
//
// A log line is its priority's letter, its tag where that is not the service's own ("-" for a null
// tag), and its text, with "#" for the source line: "W [ApplySysfsLinkConfiguration:#] bad fd".
#ifndef NUVREL_TESTS_SERVICE_TEST_FIXTURE_H_
#define NUVREL_TESTS_SERVICE_TEST_FIXTURE_H_

#include <gtest/gtest.h>

#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "service/wireless_link_config_service.h"
#include "tests/scripted_platform.h"

constexpr char kClientLibrary[] = "libnuvrelservice_client.so";

enum Command : uint8_t { kInit = 1, kInitFlows, kDeInit, kApply, kRevert, kAdd, kClear };

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
    sent.push_back(*record);
    EXPECT_EQ(extra, nullptr);
    return result;
  }
  std::vector<NuvrelPkt_t> sent;
  int result = 1;
};

// The lines logged since the last call whose priority is one of `levels`.
Lines TakeLog(const std::string& levels = "DIWE");

// A request as the framework sends it: what the service is not to read is 0xEE.
NuvrelPkt_t Request(uint8_t command, INuvrelConnection* connection,
                    const std::vector<uint32_t>& parameters = {});

// A service on its platform. Rigs may be nested: the platform is the innermost one's.
struct Rig {
  Rig();

  // Sends a packet and returns its status; checks every byte of the one reply.
  int Send(uint8_t command, const std::vector<uint32_t>& parameters = {});
  // Init and, with one service class of ID 3 for latency 20, InitLAPBFlow; nothing stays recorded.
  void GetReady();

  Lines TakeCalls() { return std::exchange(platform.calls, {}); }
  // What the service holds, such as "client handle config ready flows wlan0 opens:1".
  std::string State();
  std::string Classes();   // "latency:ID" of every service class, by latency
  std::string Policies();  // "port=cookie" of every policy, by port

  ScriptedPlatform platform;
  TestParser parser;
  RecordingConnection connection;
  ServiceUnderTest service{nullptr, &parser};
};

class ServiceTest : public testing::Test, protected Rig {};

#endif  // NUVREL_TESTS_SERVICE_TEST_FIXTURE_H_
