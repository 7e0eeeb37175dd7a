// From a packet to its operation and its reply. What each command does stands in the transcripts;
// the reply of every packet there is compared byte by byte.
#include <functional>
#include <future>

#include "tests/service_rig.h"

namespace {

struct Dispatch : testing::Test, Rig {};

TEST_F(Dispatch, NothingHappensWithoutAConnectionOrInTheOtherSlots) {
  Send(NUVREL_WLC_CMD_INIT);
  platform.TakeRecord();
  NuvrelPkt_t request = Request(NUVREL_WLC_CMD_DEINIT, nullptr);
  EXPECT_EQ(OnPacket(&request), -1);
  EXPECT_EQ(OnPacket(nullptr), -1);
  OnConnectionLost();
  EXPECT_EQ(Reserved0(), 0);
  EXPECT_EQ(Reserved1(), 0);
  EXPECT_TRUE(mInitialized);
  EXPECT_TRUE(platform.TakeRecord().empty());
  SendStatus(nullptr, NUVREL_WLC_CMD_INIT, 0);
  EXPECT_EQ(platform.TakeRecord(), std::vector<std::string>{"W No nuvrel client handle provided."});
}

TEST_F(Dispatch, CommandBufferHoldsTheLastCommandAndZeros) {
  for (const int command : {1, 4, 2}) {
    Send(command);
  }
  std::string expected = "DRIVER SERVICE_CLASS_SHOW";
  expected.resize(sizeof(mCmdBuf));
  EXPECT_EQ(std::string(mCmdBuf, sizeof(mCmdBuf)), expected);
  Send(NUVREL_WLC_CMD_DEINIT);
  EXPECT_EQ(std::string(mCmdBuf, sizeof(mCmdBuf)), std::string(sizeof(mCmdBuf), '\0'));
}

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

// Holds a command or the handle's release until `meanwhile` has run on another thread or is given
// up.
struct HoldingPlatform : ScriptedPlatform {
  int32_t ExecuteCommand(const std::string& command, const std::string& extra, std::string& text,
                         int32_t flag) override {
    Hold();
    return ScriptedPlatform::ExecuteCommand(command, extra, text, flag);
  }
  void ReleaseHandle() override { Hold(); }

  void Hold() {
    if (meanwhile && --turns < 0) {
      other = std::async(std::launch::async, std::exchange(meanwhile, nullptr));
      waits = other.wait_for(patience) == std::future_status::timeout;
    }
  }

  std::function<int()> meanwhile;
  int turns = 0;  // calls to let through before
  std::chrono::milliseconds patience{50};
  std::future<int> other;
  bool waits = false;
};

struct SilentConnection : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* /*record*/, void* /*extra*/) override { return 0; }
};

TEST_F(Dispatch, OnlyWhatNeedsTheDriverWaitsForACommandThatItHolds) {
  gNuvrelLogLevel = 0;  // lines are recorded without a lock
  HoldingPlatform holding;
  SilentConnection silent;
  const auto send = [&](int command) {
    NuvrelPkt_t packet = Request(command, &silent, {5000, 160, 184, 20});
    return command == 0 ? DeleteLAPBFlowPolicy(5000) : OnPacket(&packet);
  };
  // Command held, command sent meanwhile, its status, whether it waits.
  const int kRows[][4] = {{4, 99, -1, 0}, {4, 1, 1, 0}, {3, 99, -1, 0}, {4, 0, 0, 1},
                          {4, 2, 0, 1},   {4, 3, 0, 1}, {4, 4, 0, 1},   {4, 5, 0, 1},
                          {4, 6, 0, 1},   {4, 7, 0, 1}, {0, 4, 0, 1},   {2, 4, 0, 1},
                          {3, 4, -1, 1},  {5, 4, 0, 1}, {6, 4, 0, 1},   {7, 4, 0, 1}};
  for (const auto& [held, command, status, waits] : kRows) {
    holding.messages = {"<3>SVC-EVENT:", "<3>SVC-EVENT:"};
    for (const int preparing : {1, 2, 6}) {
      EXPECT_GE(send(preparing), 0);
    }
    holding.meanwhile = [&send, c = command] { return send(c); };
    holding.patience = std::chrono::milliseconds(waits != 0 ? 50 : 10'000);
    EXPECT_EQ(send(held), 0);
    EXPECT_EQ(holding.other.get(), status) << held << " " << command;
    EXPECT_EQ(holding.waits, waits != 0) << held << " " << command;
  }
  send(NUVREL_WLC_CMD_DEINIT);
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
