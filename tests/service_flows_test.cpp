// Flow policies: what discovery learns from the driver's messages, classes, and the policy table.
#include "tests/service_test_fixture.h"

namespace {

using FlowsTest = ServiceTest;

const std::string kEvent = "<3>SVC-EVENT:";
const std::string kShow = "DRIVER SERVICE_CLASS_SHOW";
const std::string kWait = "event <3>SVC-EVENT: 1500";
const std::string kNoMap = "W [InitLAPBFlow:#] Unable to get Service ID Map";

TEST_F(FlowsTest, DiscoverySaysAndDoesThisInOrder) {
  GetReady();
  service.mServiceIdMap.clear();
  service.mCmdReply = "a policy's";
  platform.earlierTexts.clear();
  platform.events = {kEvent + " svc_count:1", kEvent + " (a) (3, 20, 46, 40)"};
  EXPECT_EQ(Send(kInitFlows), 0);
  EXPECT_EQ(
      TakeLog(),
      Lines({"D Handling WirelessLinkConfig command 0x5a, 0x2", "D [InitLAPBFlow:#] >>",
             "D [InitLAPBFlow:#] Src IP=10.0.0.1, Dst IP=10.0.0.2", "I [UpdateServiceIDMap:#] ",
             "D GetResponse OK", "D Response from GetResponse " + kEvent + " svc_count:1",
             "D [UpdateServiceIDMap:#] Num Service Class IDs = 1",
             "I [UpdateServiceIDMap:#] Service Class Latency = 20, SVC ID = 3",
             "D Returning  [UpdateServiceIDMap:#]", "D [InitLAPBFlow:#] <<"}));
  EXPECT_EQ(TakeCalls(), Lines({"peer", "network", kShow, kWait, kWait}));
  EXPECT_EQ(platform.earlierTexts, Lines({"", "OK", kEvent + " svc_count:1"}));
  EXPECT_EQ(service.mCmdReply, "a policy's");
  EXPECT_EQ(State(), "client handle config ready flows wlan0 opens:0");
}

TEST_F(FlowsTest, DiscoveryTakesClassesFromMessages) {
  const Lines noCount = {"E [UpdateServiceIDMap:#] Could not Extract SVC Count from response",
                         kNoMap};
  const Lines noMessage = {"E [UpdateServiceIDMap:#] Could not read response", kNoMap};
  const auto noGroup = [](const std::string& message) {
    return Lines(
        {"W [UpdateServiceIDMap:#] No Matching Pattern(\\((.*?)\\)) from Response : " + message,
         kNoMap});
  };
  std::string groups256;
  for (int i = 0; i < 256; ++i) {
    groups256 += "()";
  }
  const std::string longest = kEvent + "(a)(1, 10)(" + std::string(4096 - 25, '.') + ")";
  const struct {
    std::vector<std::string> events;  // each behind the prefix, unless it is whole already
    std::string classes;
    size_t unread;
    Lines log;
  } cases[] = {
      {{" svc_count:0", "unread"}, "", 1, {}},
      {{"", "unread"}, "", 1, {}},
      {{" svc_count:", "unread"}, "", 1, {}},
      {{" svc_count:x"}, "", 0, noCount},
      {{" classes:2"}, "", 0, noCount},
      {{}, "", 0, {"W [UpdateServiceIDMap:#] No Responses Available", kNoMap}},
      {{"svc_count:2", "(a) (3, 20, 0, 0) (4, 40, 0, 0)", "unread"}, "20:3 40:4 ", 1, {}},
      {{" svc_count:3", "(h) (1, 10, 0, 0)", "(2, 20, 0, 0)", "unread"}, "10:1 20:2 ", 1, {}},
      {{" svc_count:1", "(1, 10, 0, 0)", "unread"}, "", 1, {}},
      {{" svc_count:2", "(1, 10, 0, 0)", "(2, 20, 0, 0)"}, "20:2 ", 0, {}},
      {{" svc_count:1", "(h)(x)"}, "0:0 ", 0, {}},
      {{" svc_count:1", "(h)(260, 5, 0, 0)"}, "5:4 ", 0, {}},
      {{" svc_count:1", "(h)(1, 7, 0, 0)(2, 7, 0, 0)"}, "7:2 ", 0, {}},
      {{" svc_count:1", "(h)(1, (2), 3)"}, "0:1 ", 0, {}},
      {{" svc_count:1", "(1,\n10)"}, "", 0, noGroup(kEvent + "(1,\n10)")},
      {{" svc_count:9", "(h)(1, 10, 0, 0)"}, "10:1 ", 0, noMessage},
      {{" svc_count:9", "(h)(1, 10, 0, 0)", "none"}, "10:1 ", 0, noGroup(kEvent + "none")},
      // The pass counter has 8 bits: after 256 it stands at the first pass again.
      {{" svc_count:300", groups256, "(5, 50, 0, 0)(1, 10, 0, 0)"}, "0:0 10:1 ", 0, noMessage},
      {{" svc_count:1", longest}, "0:0 10:1 ", 0, {}},
      {{" svc_count:1", longest + " "}, "", 0, noGroup(longest + " ")},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::PrintToString(test.events).substr(0, 200));
    Rig rig;
    EXPECT_EQ(rig.Send(kInit), 0);
    TakeLog();
    for (const std::string& event : test.events) {
      rig.platform.events.push_back(event.starts_with(kEvent) ? event : kEvent + event);
    }
    EXPECT_EQ(rig.Send(kInitFlows), test.log.empty() ? 0 : -1);
    EXPECT_EQ(rig.Classes(), test.classes);
    EXPECT_EQ(rig.platform.events.size(), test.unread);
    EXPECT_EQ(rig.service.mLapbSupported, test.log.empty());
    Lines expected = test.log;
    for (std::string& line : expected) {
      line.resize(std::min<size_t>(line.size(), 900));  // the log cuts lines, too
    }
    Lines log = TakeLog("WE");
    for (std::string& line : log) {
      line.resize(std::min<size_t>(line.size(), 900));
    }
    EXPECT_EQ(log, expected);
  }
}

TEST_F(FlowsTest, DiscoveryNeedsItsHandlesAddressesAndTheDriver) {
  const std::string noHandle = "W [InitLAPBFlow:#] Wpa Client or Discovery Client  Handle is NULL";
  EXPECT_EQ(Send(kInitFlows), -1);
  EXPECT_EQ(TakeLog(), Lines({"D Handling WirelessLinkConfig command 0x5a, 0x2",
                              "D [InitLAPBFlow:#] >>", noHandle, "D [InitLAPBFlow:#] <<"}));
  EXPECT_EQ(service.UpdateServiceIDMap(), -1);
  EXPECT_EQ(TakeLog("WE"), Lines({"W [UpdateServiceIDMap:#] Wpa Client Handle is NULL"}));
  platform.hasHandle = false;
  EXPECT_EQ(Send(kInit), -1);
  TakeLog();
  EXPECT_EQ(Send(kInitFlows), -1);
  EXPECT_EQ(TakeLog("WE"), Lines({noHandle}));

  platform.hasHandle = true;
  GetReady();
  platform.peerIp = "";
  platform.selfIp = std::string(196, '9');  // fills its field to the last byte
  platform.events = {kEvent};
  EXPECT_EQ(Send(kInitFlows), 0);
  EXPECT_EQ(service.mPeerIpAddress, "");
  EXPECT_EQ(service.mSelfIpAddress, platform.selfIp);
  TakeLog();
  platform.peerIp = "10.9.9.9";
  platform.selfIp = "unread";
  platform.networkResult = -1;
  EXPECT_EQ(Send(kInitFlows), -1);
  EXPECT_EQ(TakeLog("WE"), Lines({"E Unable to get Self device IP address."}));
  EXPECT_EQ(service.mPeerIpAddress, "10.9.9.9");
  EXPECT_EQ(service.mSelfIpAddress, std::string(196, '9'));

  platform.networkResult = 0;
  platform.refuse = "SHOW";
  EXPECT_EQ(Send(kInitFlows), -1);
  EXPECT_EQ(TakeLog("WE"), Lines({"W [UpdateServiceIDMap:#] Unable to execute wpa driver command "
                                  "to show service classes",
                                  kNoMap}));
  EXPECT_TRUE(service.mLapbSupported);  // as the success before left it
  EXPECT_EQ(Classes(), "20:3 ");
}

TEST_F(FlowsTest, NothingIsSentBeforeDiscoverySucceeded) {
  const std::string refusal = ":#] Wpa Client Handle is NULL / LAPB Not Supported";
  unsigned char id = 77;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Send(kAdd, {5000, 160, 184, 20}), -1);
    EXPECT_EQ(Send(kClear), -1);
    EXPECT_EQ(service.DeleteLAPBFlowPolicy(5000), -1);
    EXPECT_EQ(service.CreateServiceClass(1, 2, 3, &id), -1);
    EXPECT_EQ(TakeLog("IWE"),
              Lines({"W [AddLAPBPolicy" + refusal, "W [ClearLAPBPolicies" + refusal,
                     "W [DeleteLAPBFlowPolicy" + refusal, "W [CreateServiceClass" + refusal}));
    EXPECT_EQ(TakeCalls(), Lines());
    EXPECT_EQ(id, 77);
    Send(kInit);  // the second round has a handle
    TakeCalls();
    TakeLog();
  }
}

TEST_F(FlowsTest, LowestFreeServiceIdIsAssigned) {
  const auto assign = [this](std::vector<int> used) {
    service.mServiceIdMap.clear();
    for (uint32_t i = 0; i < used.size(); ++i) {
      service.mServiceIdMap[i] = static_cast<uint8_t>(used[i]);
    }
    return service.AssignServiceID();
  };
  std::vector<int> all;
  for (int id = 31; id >= 0; --id) {
    all.push_back(id);
  }
  EXPECT_EQ(assign({}), 0);
  EXPECT_EQ(assign({3, 0, 1}), 2);
  EXPECT_EQ(assign({0, 0, 32, 255}), 1);
  EXPECT_EQ(assign({all.begin() + 1, all.end()}), 31);
  EXPECT_EQ(assign(all), -1);
  service.mServiceIdMap.clear();
  GetReady();
  assign(all);
  EXPECT_EQ(Send(kAdd, {5000, 160, 184, 4000}), -1);
  EXPECT_EQ(TakeCalls(), Lines());
  EXPECT_EQ(TakeLog("IWE"),
            Lines({"E [CreateServiceClass:#] All Service IDs Used. Cannot add new Service ID.",
                   "W [AddLAPBPolicy:#] Unable to create Service ID"}));
}

const std::string kClassAdd = "DRIVER SERVICE_CLASS_ADD service_class_id ";
const std::string kDscp = " app_ind_default_dscp 46 app_ind_special_dscp 40";

std::string PolicyAdd(const std::string& port, int id) {
  return "DRIVER POLICY_ADD policy_type ipv4 src_ip 10.0.0.1 dst_ip 10.0.0.2 src_port " + port +
         " dst_port " + port + " proto udp service_class_id " + std::to_string(id);
}

std::string Added(int id, const std::string& rest) {
  return "I [AddLAPBPolicy:#] Added LAPB Flow SVC ID = " + std::to_string(id) +
         ", Src IP = 10.0.0.1 Dst IP = 10.0.0.2, port = " + rest;
}

// One course of commands; each row goes on from the one before.
TEST_F(FlowsTest, PolicyTableFollowsTheDriver) {
  const std::string unable = "Unable to execute wpa driver command to ";
  const std::string created = "I [CreateServiceClass:#] Service ID Created = ";
  const std::string c63(63, 'c');
  const auto minus = static_cast<uint32_t>(-5);
  const struct {
    uint8_t command;
    std::vector<uint32_t> parameters;
    std::string reply, refuse;
    Lines sent, log;
    std::string classes, policies;
  } course[] = {
      {kClear, {}, "", "", {}, {}, "20:3 ", ""},
      // A known latency needs no new class. The cookie is one word.
      {kAdd,
       {5000, 160, 184, 20},
       "cookie= abc def",
       "",
       {PolicyAdd("5000", 3)},
       {Added(3, "5000, latency = 20, cookie = abc")},
       "20:3 ",
       "5000=abc "},
      // A new latency gets one, with only the lowest 8 bits of each ToS; the port is re-bound.
      {kAdd,
       {5000, 0xFFA0, 0x1B8, 4294967295U},
       "cookie=other",
       "",
       {kClassAdd + "0 buffer_latency_tolerance 4294967295" + kDscp,
        "DRIVER POLICY_UPDATE cookie abc service_class_id 0"},
       {created + "0", Added(0, "5000, latency = 4294967295, cookie = abc")},
       "20:3 4294967295:0 ",
       "5000=abc "},
      // A class whose policy fails stays, and the next attempt finds it.
      {kAdd,
       {minus, 163, 187, 40},
       "cookie=bad",
       "POLICY_ADD",
       {kClassAdd + "1 buffer_latency_tolerance 40" + kDscp, PolicyAdd("-5", 1)},
       {created + "1", "W [AddLAPBPolicy:#] " + unable + "add LAPB Flow policy"},
       "20:3 40:1 4294967295:0 ",
       "5000=abc "},
      {kAdd,
       {minus, 160, 184, 40},
       " cookie=late",
       "",
       {PolicyAdd("-5", 1)},
       {Added(1, "-5, latency = 40, cookie = ")},
       "20:3 40:1 4294967295:0 ",
       "-5= 5000=abc "},
      // An ID whose class was refused is offered again.
      {kAdd,
       {7, 160, 184, 60},
       "",
       "CLASS_ADD",
       {kClassAdd + "2 buffer_latency_tolerance 60" + kDscp},
       {"W [CreateServiceClass:#] " + unable + "add service policy",
        "W [AddLAPBPolicy:#] Unable to create Service ID"},
       "20:3 40:1 4294967295:0 ",
       "-5= 5000=abc "},
      {kAdd,
       {5000, 160, 184, 60},
       "cookie=x",
       "UPDATE",
       {kClassAdd + "2 buffer_latency_tolerance 60" + kDscp,
        "DRIVER POLICY_UPDATE cookie abc service_class_id 2"},
       {created + "2", "W [AddLAPBPolicy:#] " + unable + "update LAPB Flow policy"},
       "20:3 40:1 60:2 4294967295:0 ",
       "-5= 5000=abc "},
      // A cookie has at most 63 characters.
      {kAdd,
       {7, 160, 184, 60},
       "cookie=" + c63 + "dd",
       "",
       {PolicyAdd("7", 2)},
       {Added(2, "7, latency = 60, cookie = " + c63)},
       "20:3 40:1 60:2 4294967295:0 ",
       "-5= 7=" + c63 + " 5000=abc "},
  };
  GetReady();
  for (const auto& row : course) {
    SCOPED_TRACE(testing::PrintToString(row.parameters) + row.reply);
    platform.reply = row.reply;
    platform.refuse = row.refuse;
    const bool fails = !row.log.empty() && row.log.back()[0] == 'W';
    EXPECT_EQ(Send(row.command, row.parameters), fails ? -1 : 0);
    EXPECT_EQ(TakeCalls(), row.sent);
    EXPECT_EQ(TakeLog("IWE"), row.log);
    EXPECT_EQ(Classes(), row.classes);
    EXPECT_EQ(Policies(), row.policies);
  }

  EXPECT_EQ(service.DeleteLAPBFlowPolicy(5001), -1);
  EXPECT_EQ(TakeCalls(), Lines());
  platform.refuse = "DELETE";
  EXPECT_EQ(service.DeleteLAPBFlowPolicy(-5), -1);
  EXPECT_EQ(service.mLapbPolicies.count(-5), 1U);
  platform.refuse = "";
  EXPECT_EQ(service.DeleteLAPBFlowPolicy(-5), 0);
  EXPECT_EQ(TakeCalls(), Lines(2, "DRIVER POLICY_DELETE cookie "));
  EXPECT_EQ(TakeLog(),
            Lines({"W [DeleteLAPBFlowPolicy:#] LAPB Flow for Port Num 5001, not configured",
                   "W [DeleteLAPBFlowPolicy:#] " + unable + "delete LAPB Flow policy"}));

  service.mLapbPolicies[-9] = "nine";
  platform.refuse = "nine";
  EXPECT_EQ(Send(kClear), -1);
  EXPECT_EQ(TakeCalls().size(), 3U);
  EXPECT_EQ(TakeLog("IWE"),
            Lines({"W [ClearLAPBPolicies:#] Failed to delete LAPB Flow Policy for Port:-9"}));
  EXPECT_EQ(Policies(), "");
  EXPECT_EQ(Classes(), "20:3 40:1 60:2 4294967295:0 ");
}

TEST_F(FlowsTest, ParametersAreLoggedAsReceivedAndOneReplyTextServesAllPolicies) {
  GetReady();
  platform.earlierTexts.clear();
  EXPECT_EQ(Send(kAdd, {4294967295U, 0x1FF, 256, 99}), 0);
  EXPECT_EQ(TakeLog("D").at(1), "D portNum -1, splToS 511, defToS 256 latency 99");
  EXPECT_EQ(TakeCalls()[0], kClassAdd +
                                "0 buffer_latency_tolerance 99 app_ind_default_dscp 0 "
                                "app_ind_special_dscp 63");
  EXPECT_EQ(platform.earlierTexts, Lines({"", "OK"}));
  EXPECT_EQ(service.mCmdReply, "OK");
}

}  // namespace
