// Many threads at one service, on a driver that keeps state: whatever the order, no command is
// refused for a lack of it, and no policy outlives the service. The driver takes no lock, so that
// overlapping commands are found by a race detector.
#include <future>
#include <random>

#include "emulated_driver/driver_model.h"
#include "tests/service_rig.h"

namespace {

constexpr int kPackets = 10'000;  // of each thread, without those within a reply

class DrivenPlatform : public ScriptedPlatform {
 public:
  int32_t ExecuteCommand(const std::string& command, const std::string& /*extra*/,
                         std::string& text, int32_t /*flag*/) override {
    DriverAnswer answer = driver.Execute(command.substr(std::strlen("DRIVER ")));
    messages.assign(answer.events.begin(), answer.events.end());
    text = answer.reply;
    refusals += text == kReplyFail ? 1 : 0;
    return text == kReplyFail ? -1 : 0;
  }

  // What DeInit leaves in the driver.
  void Called(const std::string& call) override {
    leftovers += call == "release handle" && driver.Status().find("policy[") != std::string::npos;
  }

  DriverModel driver;
  int refusals = 0;
  int leftovers = 0;
};

// One for each thread; some replies are answered with another packet before they return.
class CallingBackConnection : public INuvrelConnection {
 public:
  CallingBackConnection(WirelessLinkConfigService* service, uint32_t start)
      : mService(service), mRandom(start) {}

  void SendRandomPacket() {
    // Discovery is by far the slowest, so it comes less often; 0 deletes a policy without a packet.
    constexpr int kCommands[] = {0, 1, 1, 2, 3, 4, 4, 5, 5, 6, 6, 6, 6, 6, 6, 7};
    const auto random = static_cast<uint32_t>(mRandom());
    const uint32_t port = 5000 + (random >> 4) % 16;
    if (const int command = kCommands[random % 16]; command != 0) {
      NuvrelPkt_t packet = Request(command, this, {port, 160, 184, (random >> 8) % 6});
      ++unanswered;
      mService->OnPacket(&packet);
    } else {
      mService->DeleteLAPBFlowPolicy(static_cast<int>(port));
    }
  }

  int SendPacket(NuvrelPkt_t* reply, void* /*extra*/) override {
    unanswered -= reply->msgType == 8 && reply->payloadLen == 5 ? 1 : 0;
    if (mRandom() % 4 == 0) {
      SendRandomPacket();
    }
    return 0;
  }

  int unanswered = 0;

 private:
  WirelessLinkConfigService* const mService;
  std::minstd_rand mRandom;
};

TEST(Stress, ServiceAndDriverAgreeAfterManyThreads) {
  gNuvrelLogLevel = 0;  // lines are recorded without a lock
  DrivenPlatform platform;
  TestParser parser;
  WirelessLinkConfigService service(nullptr, &parser);
  std::vector<std::future<void>> threads;
  for (uint32_t start = 1; start <= 8; ++start) {
    threads.push_back(std::async(std::launch::async, [&service, start] {
      CallingBackConnection connection(&service, start);
      for (int i = 0; i < kPackets; ++i) {
        connection.SendRandomPacket();
      }
      EXPECT_EQ(connection.unanswered, 0);
    }));
  }
  threads.clear();  // waits for all

  EXPECT_GE(service.Init(nullptr), 0);
  EXPECT_EQ(service.InitLAPBFlow(), 0);
  for (uint32_t latency = 0; latency < 6; ++latency) {
    EXPECT_EQ(service.AddLAPBPolicy(6000, 160, 184, latency), 0);
  }
  service.DeInit();
  EXPECT_EQ(platform.refusals, 0);
  EXPECT_EQ(platform.leftovers, 0);
}

}  // namespace
