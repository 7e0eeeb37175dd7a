// From a packet to its operation and its reply. What each command does stands in the other tests;
// the reply of every packet there is compared byte by byte.
#include <atomic>
#include <cstdlib>
#include <new>
#include <random>
#include <set>
#include <thread>

#include "tests/service_test_fixture.h"

namespace {

std::atomic<long> gAllocations{0};

}  // namespace

void* operator new(size_t size) {
  ++gAllocations;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, size_t /*size*/) noexcept {
  std::free(memory);
}

namespace {

using DispatchTest = ServiceTest;

TEST_F(DispatchTest, PacketWithoutAConnectionIsDroppedInSilence) {
  NuvrelPkt_t request = Request(kInit, nullptr);
  EXPECT_EQ(service.OnPacket(&request), -1);
  EXPECT_EQ(service.OnPacket(nullptr), -1);
  EXPECT_EQ(TakeLog(), Lines());
  EXPECT_EQ(TakeCalls(), Lines());
}

TEST_F(DispatchTest, UnknownCommandRunsNothingAndIsAnsweredWithFailure) {
  GetReady();
  for (const auto& [command, text] :
       std::map<uint8_t, std::string>{{0, "0x0"}, {8, "0x8"}, {255, "0xff"}}) {
    EXPECT_EQ(Send(command), -1);
    EXPECT_EQ(TakeLog(), Lines({"D Handling WirelessLinkConfig command 0x5a, " + text}));
    EXPECT_EQ(TakeCalls(), Lines());
  }
}

TEST_F(DispatchTest, UnsentReplyIsLoggedAndTheCommandStands) {
  connection.result = -5;
  EXPECT_EQ(Send(kInit), 0);
  EXPECT_EQ(TakeLog("WE"), Lines({"E Unable to send response after Init Request execution"}));
  service.SendStatus(nullptr, NUVREL_WLC_CMD_INIT, 0);
  EXPECT_EQ(TakeLog(), Lines({"W No nuvrel client handle provided."}));
}

TEST_F(DispatchTest, OtherSlotsDoNothing) {
  GetReady();
  const std::string state = State();
  service.OnConnectionLost();
  EXPECT_EQ(service.Reserved0(), 0);
  EXPECT_EQ(service.Reserved1(), 0);
  EXPECT_EQ(State(), state);
  EXPECT_EQ(TakeLog(), Lines());
}

TEST_F(DispatchTest, EachLineIsGatedByTheBitOfItsLevel) {
  const auto session = [this](uint32_t mask) {
    gNuvrelLogLevel = mask;
    ServiceUnderTest fresh(nullptr, &parser);
    platform.events = {"<3>SVC-EVENT: svc_count:1", "<3>SVC-EVENT: (heading) (3, 20, 46, 40)"};
    for (uint8_t command : {kInit, kInitFlows, kInitFlows, kAdd, kClear, kDeInit, kApply, kInit}) {
      NuvrelPkt_t request = Request(command, &connection, {5000, 160, 184, 20});
      connection.result = command == kInit ? -1 : 0;
      fresh.OnPacket(&request);
    }
  };
  const std::string letters = "EWID";
  for (size_t bit = 0; bit < letters.size(); ++bit) {
    session(15);
    const Lines all = TakeLog(letters.substr(bit, 1));
    EXPECT_NE(all, Lines());
    session(1U << bit);
    EXPECT_EQ(TakeLog(), all);
  }
}

// Answers nothing, so that only the service could allocate.
struct SilentConnection : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* /*record*/, void* /*extra*/) override { return 0; }
};

TEST_F(DispatchTest, DispatchAndReplyAllocateNothing) {
  GetReady();
  gNuvrelLogLevel = 0;
  SilentConnection silent;
  NuvrelPkt_t unknown = Request(99, &silent);
  NuvrelPkt_t init = Request(kInit, &silent);
  const long before = gAllocations;
  EXPECT_GT(before, 0);  // they are counted
  service.OnPacket(&unknown);
  service.OnPacket(&init);
  EXPECT_EQ(gAllocations, before);
}

// Counts, and calls back into the service from within a reply.
struct CallingBack : INuvrelConnection {
  int SendPacket(NuvrelPkt_t* record, void* /*extra*/) override {
    ++replies;
    if (record->payload[0] == kApply) {
      NuvrelPkt_t again = Request(kRevert, this);
      service->OnPacket(&again);
    }
    return 0;
  }
  WirelessLinkConfigService* service = nullptr;
  std::atomic<int> replies{0};
};

// Hands out cookies and forgets them again, as a driver would.
struct FakeDriver : ScriptedPlatform {
  int32_t ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                         std::string& text, int32_t /*flag*/) override {
    ++depth;
    EXPECT_EQ(depth, 1) << "two commands at a time";
    if (command.find("POLICY_ADD") != std::string::npos) {
      const std::string cookie = std::to_string(++added);
      policies.insert("DRIVER POLICY_DELETE cookie " + cookie);
      text = "cookie=" + cookie;
    }
    policies.erase(command);
    events = {"<3>SVC-EVENT: svc_count:0"};
    std::this_thread::yield();
    --depth;
    return 0;
  }
  std::atomic<int> depth{0};
  int added = 0;
  std::set<std::string> policies;
};

TEST_F(DispatchTest, PacketsOnManyThreadsRunOneAtATime) {
  constexpr int kThreads = 8;
  constexpr int kPackets = 300;
  FakeDriver driver;
  CallingBack replies;
  replies.service = &service;
  gNuvrelLogLevel = 0;
  std::atomic<int> applied{0};
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      std::minstd_rand random(i + 1);
      const auto pick = [&](uint32_t choices) { return static_cast<uint32_t>(random() % choices); };
      for (int sent = 0; sent < kPackets; ++sent) {
        const auto command = static_cast<uint8_t>(kInit + pick(7));
        NuvrelPkt_t request = Request(command, &replies, {pick(9), 160, 184, pick(40)});
        service.OnPacket(&request);
        applied += command == kApply ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(replies.replies, kThreads * kPackets + applied);
  EXPECT_GT(driver.added, 0);
  EXPECT_EQ(driver.policies.size(), service.mLapbPolicies.size());
  service.DeInit();
  EXPECT_EQ(driver.policies.size(), 0U);
}

}  // namespace
