// Init and DeInit: what they say, what they ask of the platform, and what remains.
#include <algorithm>

#include "tests/service_test_fixture.h"

namespace {

using LifecycleTest = ServiceTest;

const std::string kLib = kClientLibrary;
const std::string kFlowsRefused =
    "W [ClearLAPBPolicies:#] Wpa Client Handle is NULL / LAPB Not Supported";

TEST_F(LifecycleTest, InitAndDeInitSayAndDoThisInOrder) {
  platform.interfaceName = " wl an\t0 ";
  EXPECT_EQ(Send(kInit), 0);
  Lines log = TakeLog();
  EXPECT_EQ(log[10].substr(0, 42), "I WirelessLinkConfigService configurations");
  log.erase(log.begin() + 10);  // the settings are compared in their own tests
  EXPECT_EQ(log, Lines({"D Handling WirelessLinkConfig command 0x5a, 0x1", "D [Init:#] >>",
                        "D- [GetLibFunction:#] >>", "D- " + kLib + ": dlopen success",
                        "D- " + kLib + " -> CreateServiceClient(): dlsym success",
                        "D- [GetLibFunction:#] <<", "D created discovery client",
                        "D- [CloseLibHandle:#] >>", "D- [CloseLibHandle:#] <<",
                        "D [Init] Got Interface -  wl an\t0 ",
                        "D [Init:#] opened ctrl interface: /wlan\t0", "D [Init:#] <<"}));
  EXPECT_EQ(TakeCalls(), Lines({"create 4 null -1", "network", "handle", "open /wlan\t0"}));
  EXPECT_EQ(State(), "client handle config ready wlan\t0 opens:0");

  EXPECT_EQ(Send(kInit), 1);
  EXPECT_EQ(TakeLog(),
            Lines({"D Handling WirelessLinkConfig command 0x5a, 0x1", "D [Init:#] >>",
                   "D WirelessLinkConfig service already initialized", "D [Init:#] <<"}));
  EXPECT_EQ(TakeCalls(), Lines());

  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(TakeLog(), Lines({"D Handling WirelessLinkConfig command 0x5a, 0x3", kFlowsRefused,
                              "D- [GetLibFunction:#] >>", "D- " + kLib + ": dlopen success",
                              "D- " + kLib + " -> ReleaseServiceClient(): dlsym success",
                              "D- [GetLibFunction:#] <<", "D [DeInit:#] <<"}));
  EXPECT_EQ(TakeCalls(), Lines({"release handle", "release 4", "delete client"}));
  EXPECT_EQ(State(), "wlan\t0 opens:1");

  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(TakeLog(),
            Lines({"D Handling WirelessLinkConfig command 0x5a, 0x3", "D [DeInit:#] <<"}));
  EXPECT_EQ(TakeCalls(), Lines({"release handle"}));

  EXPECT_EQ(Send(kInit), 0);
  EXPECT_EQ(TakeLog()[3], "I- Already Open lib - " + kLib);
  EXPECT_EQ(TakeCalls()[0], "create 4 null -1");
  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(State(), "wlan\t0 opens:2");
}

TEST_F(LifecycleTest, FailedInitLeavesThisAndTheNextGoesOnFromThere) {
  const struct {
    bool ScriptedPlatform::*missing;      // what the platform does not have, or
    int32_t ScriptedPlatform::*negative;  // what it answers with failure
    Lines lastLines;
    std::string state;
    Lines nextCalls;
  } cases[] = {
      {&ScriptedPlatform::hasClient,
       nullptr,
       {"D- [GetLibFunction:#] <<", "E Unable to create discovery client for remote IPC support"},
       " opens:1",
       {"create 4 null -1", "network", "handle", "open /wlan0"}},
      {nullptr,
       &ScriptedPlatform::networkResult,
       {"D- [CloseLibHandle:#] <<", "E [Init] Unable to get Network Interface Information"},
       "client  opens:0",
       {"network", "handle", "open /wlan0"}},
      {&ScriptedPlatform::hasHandle,
       nullptr,
       {"E Failed to get wpacliwrapper handle !", "D [Init:#] <<"},
       "client config wlan0 opens:0",
       {"network", "handle", "open /wlan0"}},
      {nullptr,
       &ScriptedPlatform::openResult,
       {"W Init() Failed to open network interface /wlan0"},
       "client handle config wlan0 opens:0",
       {"network", "handle", "open /wlan0"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.lastLines[0]);
    Rig rig;
    ScriptedPlatform& script = rig.platform;
    if (test.missing != nullptr) {
      script.*test.missing = false;
    } else {
      script.*test.negative = -7;
    }
    EXPECT_EQ(rig.Send(kInit), -1);
    const Lines log = TakeLog();
    const auto shown = static_cast<ptrdiff_t>(test.lastLines.size());
    EXPECT_EQ(Lines(log.end() - shown, log.end()), test.lastLines);
    EXPECT_EQ(rig.State(), test.state);
    EXPECT_EQ(script.calls.back() == "close", test.negative == &ScriptedPlatform::openResult);

    script.hasClient = script.hasHandle = true;
    script.networkResult = script.openResult = 0;
    rig.TakeCalls();
    EXPECT_EQ(rig.Send(kInit), 0);
    EXPECT_EQ(rig.TakeCalls(), test.nextCalls);
  }
}

TEST_F(LifecycleTest, DeInitForgetsFlowsAndSettingsAndAlwaysReleasesTheHandle) {
  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(TakeCalls(), Lines({"release handle"}));
  GetReady();
  platform.reply = "cookie=7";
  EXPECT_EQ(Send(kAdd, {5000, 160, 184, 20}), 0);
  TakeCalls();
  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(TakeCalls(), Lines({"DRIVER POLICY_DELETE cookie 7", "release handle", "release 4",
                                "delete client"}));
  EXPECT_EQ(Classes() + Policies() + service.mCmdReply, "");
  EXPECT_EQ(State(), "wlan0 opens:1");
  EXPECT_EQ(std::string(service.mCmdBuf, sizeof(service.mCmdBuf)), std::string(512, '\0'));

  platform.openResult = -1;
  EXPECT_EQ(Send(kInit), -1);
  TakeLog();
  EXPECT_EQ(Send(kDeInit), 0);
  EXPECT_EQ(TakeLog("WE"), Lines({kFlowsRefused}));
  EXPECT_EQ(State(), "wlan0 opens:2");
}

// The name fills its field to the last byte.
TEST_F(LifecycleTest, NameWithoutItsEndIsReadToTheEndOfItsField) {
  platform.interfaceName = std::string(32, 'w');
  platform.selfIp = "10.0.0.1";
  EXPECT_EQ(Send(kInit), 0);
  EXPECT_EQ(service.mInterfaceName, std::string(32, 'w'));
}

}  // namespace
