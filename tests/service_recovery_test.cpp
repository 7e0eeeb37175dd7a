// The shipped library on its real platform libraries while the supplicant dies, is replaced or
// misbehaves: every packet is answered, no descriptor is left open, and the service works again
// once the fault is gone. SERVICE_LIBRARY is its path.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "framework/config_parser.h"
#include "framework/log_level.h"
#include "framework/nuvrel_connection.h"
#include "framework/nuvrel_packet.h"
#include "framework/nuvrel_service.h"
#include "host/emulated_driver/emulated_driver.h"

namespace {

using host::EmulatedDriver;
using host::EmulatedDriverOptions;

// A working session; each number is a packet's command byte.
constexpr uint8_t kSession[] = {1, 2, 4, 6, 6, 7, 5, 3};

long OpenDescriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return std::distance(begin(open), end(open));
}

struct Config : nuvrel::ConfigParser {
  explicit Config(const std::string& directory) {
    mStrings["nuvrel.services.wirelesslinkconfig.wpaifpath"] = directory;
  }
};

class Recovery : public testing::Test, public INuvrelConnection {
 protected:
  Recovery() {
    gNuvrelLogLevel = 0;
    setenv("NUVREL_HOST_INTERFACE", "wlan0", 1);
    setenv("NUVREL_HOST_SELF_IP", "10.0.0.1", 1);
    setenv("NUVREL_HOST_PEER_IP", "10.0.0.2", 1);
    ServiceCreateParams params{this, &mConfig};
    reinterpret_cast<void (*)(void**, void*)>(Symbol("CreateWirelessLinkConfigService"))(&mService,
                                                                                         &params);
  }
  ~Recovery() override {
    reinterpret_cast<int (*)(void*)>(Symbol("ReleaseWirelessLinkConfigService"))(mService);
    dlclose(mLibrary);
    std::filesystem::remove_all(mDirectory);
  }

  int SendPacket(NuvrelPkt_t* record, void* /*extra*/) override {
    std::memcpy(&mStatus, record->payload + 1, sizeof(mStatus));
    return mReplies++;
  }

  // The status of one command, from its reply.
  int Send(uint8_t command) {
    constexpr uint32_t kPolicy[] = {5000, 160, 184, 30};
    NuvrelPkt_t packet{};
    packet.payload[0] = command;
    std::memcpy(packet.payload + 1, kPolicy, sizeof(kPolicy));
    packet.connection = this;
    mReplies = 0;
    static_cast<INuvrelService*>(mService)->OnPacket(&packet);
    EXPECT_EQ(mReplies, 1);
    return mStatus;
  }

  void ExpectWholeSession() {
    Send(3);
    for (const uint8_t command : kSession) {
      EXPECT_EQ(Send(command), 0) << "command " << int{command};
    }
  }

  std::unique_ptr<EmulatedDriver> StartDriver(EmulatedDriverOptions options = {}) {
    options.directory = mDirectory;
    options.interface = "wlan0";
    auto driver = std::make_unique<EmulatedDriver>(options);
    driver->Start();
    return driver;
  }

 private:
  void* Symbol(const char* name) { return dlsym(mLibrary, name); }

  std::string mDirectory = mkdtemp(std::string("/tmp/recovery-XXXXXX").data());
  Config mConfig{mDirectory};
  void* mLibrary = dlopen(SERVICE_LIBRARY, RTLD_NOW);
  void* mService = nullptr;
  int mReplies = 0;
  int mStatus = 0;
};

// The statuses of a session whose supplicant dies before its first, second, ... command.
constexpr int kStatuses[][std::size(kSession)] = {
    {-1, -1, -1, -1, -1, -1, -1, 0}, {0, -1, -1, -1, -1, -1, -1, 0},
    {0, 0, -1, -1, -1, 0, -1, 0},  // clearing an empty table sends nothing
    {0, 0, 0, -1, -1, 0, -1, 0},     {0, 0, 0, 0, -1, -1, -1, 0},
    {0, 0, 0, 0, 0, -1, -1, 0},      {0, 0, 0, 0, 0, 0, -1, 0},
    {0, 0, 0, 0, 0, 0, 0, 0},
};

TEST_F(Recovery, SupplicantDiesBetweenAnyTwoCommands) {
  auto driver = StartDriver();
  ExpectWholeSession();
  const long descriptors = OpenDescriptors();
  for (size_t alive = 0; alive < std::size(kSession); ++alive) {
    for (size_t i = 0; i < std::size(kSession); ++i) {
      if (i == alive) {
        driver->Stop();
      }
      EXPECT_EQ(Send(kSession[i]), kStatuses[alive][i]) << "died before " << alive << ", at " << i;
    }
    driver = nullptr;
    driver = StartDriver();
    ExpectWholeSession();
    EXPECT_EQ(OpenDescriptors(), descriptors) << "died before " << alive;
  }
}

// By a supplicant that starts again, and by one that reopens it behind every driver command.
TEST_F(Recovery, ControlSocketIsReplaced) {
  auto driver = StartDriver();
  EXPECT_EQ(Send(1), 0);
  EXPECT_EQ(Send(2), 0);
  driver = nullptr;
  EmulatedDriverOptions reopening;
  reopening.faults.push_back(host::ParseFaultRule("socket:reopen"));
  driver = StartDriver(reopening);
  EXPECT_EQ(Send(2), 0) << "the driver's messages come to who is attached again";
  EXPECT_EQ(Send(6), 0);
  ExpectWholeSession();
  EXPECT_NE(driver->Status().find("policies=0\n"), std::string::npos) << driver->Status();
}

// A driver that lets discovery down: it never answers, answers late, or lists so many classes that
// their message is longer than a supplicant's.
TEST_F(Recovery, DriverLetsDiscoveryDown) {
  std::vector<EmulatedDriverOptions> drivers(1);
  for (uint32_t id = 0; id < 300; ++id) {
    drivers[0].serviceClasses.push_back({id, 1000 + id, 0, 0});
  }
  for (const char* rule : {"SERVICE_CLASS_SHOW:drop@1", "events:delay=1600x2"}) {
    drivers.emplace_back().faults.push_back(host::ParseFaultRule(rule));
  }
  for (const EmulatedDriverOptions& options : drivers) {
    auto driver = StartDriver(options);
    EXPECT_EQ(Send(1), 0);
    EXPECT_EQ(Send(2), -1);
    EXPECT_EQ(Send(6), -1);
    EXPECT_EQ(Send(3), 0);
    for (const host::FaultCount& count : driver->FaultCounts()) {
      EXPECT_GT(count.fired, 0U) << count.rule;
    }
    driver = nullptr;
    driver = StartDriver();
    ExpectWholeSession();
  }
}

}  // namespace
