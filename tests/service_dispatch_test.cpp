// From a packet to its operation and its reply. What each command does stands in the transcripts;
// the reply of every packet there is compared byte by byte.
#include <functional>
#include <future>

#include "tests/service_rig.h"

namespace {

// Stands in for the two operations that are reached through their slots.
struct Overriding : Rig {
  int32_t Init(NuvrelPkt* packet) override {
    packet->record.connection = nullptr;  // the reply takes the caller's
    void** slots = *reinterpret_cast<void***>(packet);
    EXPECT_EQ(reinterpret_cast<uint8_t (*)(NuvrelPkt*)>(slots[2])(packet), 0x5A);
    EXPECT_EQ(reinterpret_cast<uint8_t* (*)(NuvrelPkt*)>(slots[3])(packet), packet->record.payload);
    return static_cast<int32_t>(packet->readOffset);
  }
  void DeInit() override { mInitialized = true; }
};

TEST(DispatchSlots, InitIsGivenThePacketAndDeInitAnswersWhetherItWorked) {
  Overriding rig;
  EXPECT_EQ(rig.Send(NUVREL_WLC_CMD_INIT), 1);
  EXPECT_EQ(rig.Send(NUVREL_WLC_CMD_DEINIT), -1);
}

// Holds a call or a log line until `meanwhile` has run on another thread or is given up.
struct HoldingPlatform : ScriptedPlatform {
  void Called(const std::string& /*call*/) override {
    if (meanwhile && --turns < 0) {
      other = std::async(std::launch::async, std::exchange(meanwhile, nullptr));
      waits = other.wait_for(patience) == std::future_status::timeout;
    }
  }
  void Log(const std::string& line) override { Called(line); }

  std::function<int()> meanwhile;
  int turns = 0;  // calls to let through before
  std::chrono::milliseconds patience{50};
  std::future<int> other;
  bool waits = false;
};

struct Dispatch : testing::Test, Rig {
  Dispatch() { gNuvrelLogLevel = 0; }

  // Sends one command; 0 deletes a policy, which no packet does.
  int Send(int command) {
    return command == 0 ? DeleteLAPBFlowPolicy(5000) : Rig::Send(command, {5000, 160, 184, 20});
  }

  // Brings the service to the state after so many of init, flows and add.
  void Prepare(int steps) {
    holding.messages.assign(3, "<3>SVC-EVENT:");
    EXPECT_EQ(Send(NUVREL_WLC_CMD_DEINIT), 0);
    for (const int command : std::vector<int>{1, 2, 6}) {
      EXPECT_TRUE(steps-- <= 0 || Send(command) == 0);
    }
  }

  HoldingPlatform holding;
};

TEST_F(Dispatch, MembersStandInTheirOrder) {
  const LinkConfiguration config;
  const std::vector<const void*> orders[] = {
      {&mConfigParser, &mConnection, &mInitialized, &mServiceLock, &mPolicyLock, &mLibLoader,
       &mWpaClient, &mServiceClient, &mWpaCtrlPath, &mCmdReply, &mCmdBuf, &mLinkConfig,
       &mUnitTestTargetValue, &mInterfaceName, &mSelfIpAddress, &mPeerIpAddress, &mServiceIdMap,
       &mLapbPolicies, &mLapbSupported},
      {&config.wpaifPath, &config.wlanXRLatencyMode, &config.wlanNormalLatencyMode,
       &config.wlanEnableTsf, &config.wlanTsfSyncInterval, &config.wlanSetRatemask,
       &config.wlanOriginalRatemask, &config.disableRRA, &config.wlanUnitTestTargetNode}};
  for (const auto& order : orders) {
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
}

TEST_F(Dispatch, OnlyWhatNeedsTheDriverAndCanHaveItWaits) {
  const struct {
    int prepared;
    std::vector<int> held, meanwhile;  // commands, each of the first with each of the others
    int status;
    bool waits;
  } kRows[] = {
      {3, {4}, {0, 2, 3, 4, 5, 6, 7}, 0, true},
      {3, {0, 2, 5, 6, 7}, {4}, 0, true},
      {3, {3}, {4}, -1, true},
      {3, {4}, {1}, 1, false},
      {3, {3, 4}, {99}, -1, false},
      {0, {1}, {0, 2, 4, 5, 6, 7}, -1, false},  // no settings and no handles yet
      {1, {2, 4}, {0, 6, 7}, -1, false},        // no flow policies yet
      {2, {3}, {0, 6, 7}, -1, false},           // none any more
  };
  for (const auto& row : kRows) {
    for (size_t i = 0; i < row.held.size() * row.meanwhile.size(); ++i) {
      const int held = row.held[i % row.held.size()];
      const int command = row.meanwhile[i / row.held.size()];
      SCOPED_TRACE(testing::PrintToString(std::vector<int>{row.prepared, held, command}));
      Prepare(row.prepared);
      holding.meanwhile = [this, command] { return Send(command); };
      holding.patience = std::chrono::milliseconds(row.waits ? 50 : 10'000);
      EXPECT_EQ(Send(held), 0);
      EXPECT_EQ(holding.other.get(), row.status);
      EXPECT_EQ(holding.waits, row.waits);
    }
  }
  Send(NUVREL_WLC_CMD_DEINIT);
}

TEST_F(Dispatch, DiscoveryTracesItsEntryWithoutALock) {
  Prepare(1);
  gNuvrelLogLevel = kNuvrelLogDebug;
  holding.turns = 1;  // the line of its packet
  holding.meanwhile = [this] { return Send(NUVREL_WLC_CMD_APPLY_LINK_SETTINGS); };
  holding.patience = std::chrono::seconds(10);
  EXPECT_EQ(Send(NUVREL_WLC_CMD_INIT_LAPB_FLOW), 0);
  EXPECT_FALSE(holding.waits);
}

TEST(Instance, IsHandedOutNeitherInItsLastDeInitNorInItsDestruction) {
  gNuvrelLogLevel = 0;
  HoldingPlatform platform;
  for (const int turns : {0, 1}) {
    ServiceCreateParams params{nullptr, nullptr};
    void* service = WirelessLinkConfigService::Create(&params);
    void* next = nullptr;
    platform.turns = turns;
    platform.meanwhile = [&] {
      next = WirelessLinkConfigService::Create(&params);
      return 0;
    };
    EXPECT_EQ(WirelessLinkConfigService::Release(service), 0);
    EXPECT_EQ(platform.other.get(), 0);
    EXPECT_TRUE(platform.waits);
    EXPECT_EQ(WirelessLinkConfigService::Release(next), 0);
  }
}

}  // namespace
