// Many threads at one service, on a driver that keeps state: whatever the order, no command is
// refused for a lack of it, and what the service holds in the end is what the driver holds. The
// driver takes no lock, so that overlapping commands are found by a race detector.
#include <atomic>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include "host/emulated_driver/driver_model.h"
#include "tests/service_rig.h"

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr int kPackets = 100'000;
#else
constexpr int kPackets = 20'000;
#endif
constexpr int kThreads = 8;

class DrivenPlatform : public ScriptedPlatform {
 public:
  int32_t ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                         std::string& text, int32_t /*flag*/) override {
    record.clear();
    host::DriverAnswer answer = driver.Execute(command.substr(std::strlen("DRIVER ")));
    messages.assign(answer.events.begin(), answer.events.end());
    text = answer.reply;
    refusals += text == host::kReplyFail ? 1 : 0;
    return text == host::kReplyFail ? -1 : 0;
  }

  // Cookie by port, from the driver's own report.
  std::map<int, std::string> Policies() const {
    std::map<int, std::string> policies;
    std::istringstream lines(driver.Status());
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("policy[")) {
        const size_t port = line.find(':') + 1;
        policies[std::stoi(line.substr(port))] = line.substr(7, line.find(']') - 7);
      }
    }
    return policies;
  }

  host::DriverModel driver;
  int refusals = 0;
};

// One for each thread; some replies are answered with another packet before they return.
class CallingBackConnection : public INuvrelConnection {
 public:
  CallingBackConnection(INuvrelService* service, uint32_t start)
      : mService(service), mRandom(start) {}

  void SendRandomPacket() {
    // Discovery is by far the slowest, so it comes less often.
    constexpr uint8_t kCommands[] = {1, 1, 1, 2, 3, 4, 4, 5, 5, 6, 6, 6, 6, 6, 6, 7};
    const auto random = static_cast<uint32_t>(mRandom());
    NuvrelPkt_t packet = Request(kCommands[random % 16], this,
                                 {5000 + (random >> 4) % 16, 160, 184, (random >> 8) % 6});
    ++packets;
    mService->OnPacket(&packet);
  }

  int SendPacket(NuvrelPkt_t* reply, void* /*extra*/) override {
    replies += reply->msgType == 8 && reply->payloadLen == 5 ? 1 : 0;
    if (!mCallingBack && mRandom() % 4 == 0) {
      mCallingBack = true;
      SendRandomPacket();
      mCallingBack = false;
    }
    return 0;
  }

  int packets = 0;
  int replies = 0;

 private:
  INuvrelService* const mService;
  std::minstd_rand mRandom;
  bool mCallingBack = false;
};

TEST(Stress, ServiceAndDriverAgreeAfterManyThreads) {
  gNuvrelLogLevel = 0;  // lines are recorded without a lock
  DrivenPlatform platform;
  TestParser parser;
  ServiceCreateParams params{nullptr, &parser};
  void* instance = nullptr;
  CreateWirelessLinkConfigService(&instance, &params);
  auto* service = static_cast<WirelessLinkConfigService*>(instance);

  std::atomic<bool> done{false};
  std::thread references([&] {
    while (!done) {
      void* other = nullptr;
      CreateWirelessLinkConfigService(&other, &params);
      EXPECT_EQ(other, instance);
      EXPECT_EQ(ReleaseWirelessLinkConfigService(other), 0);
      std::this_thread::yield();
    }
  });
  std::atomic<int> packets{0};
  std::vector<std::thread> threads;
  for (uint32_t start = 1; start <= kThreads; ++start) {
    threads.emplace_back([&, start] {
      CallingBackConnection connection(service, start);
      while (packets < kPackets) {
        const int before = connection.packets;
        connection.SendRandomPacket();
        packets += connection.packets - before;
      }
      EXPECT_EQ(connection.replies, connection.packets);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  done = true;
  references.join();

  EXPECT_GE(packets, kPackets);
  EXPECT_EQ(platform.refusals, 0);
  const auto& policies = service->*(&ServiceUnderTest::mLapbPolicies);
  EXPECT_EQ((std::map<int, std::string>(policies.begin(), policies.end())), platform.Policies());
  for (const auto& [latency, id] : service->*(&ServiceUnderTest::mServiceIdMap)) {
    const std::string known =
        "service_class[" + std::to_string(id) + "]=latency " + std::to_string(latency) + " ";
    EXPECT_NE(platform.driver.Status().find(known), std::string::npos) << known;
  }
  EXPECT_EQ(ReleaseWirelessLinkConfigService(instance), 0);
  EXPECT_TRUE(platform.Policies().empty());
}

}  // namespace
