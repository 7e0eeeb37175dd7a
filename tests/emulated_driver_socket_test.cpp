// The emulated driver behind its control socket, talked to by plain datagram clients.
#include <fcntl.h>
#include <sys/file.h>

#include <atomic>
#include <thread>

#include "emulated_driver/refusal.h"
#include "tests/emulated_driver_fixture.h"

namespace {

// Leaves a socket file that nobody serves.
void LeaveDeadSocket(const std::string& path) {
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  EXPECT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  close(socket);
}

TEST_F(EmulatedDriverTest, LeavesNothingOpenWhereItCannotStart) {
  StartDriver();
  std::filesystem::create_directory(mDirectory + "/folder");
  const long descriptors = OpenDescriptors();
  for (const auto& [directory, interface, part] :
       {std::tuple(mDirectory, "wlan0", "in use: stop"),
        {mDirectory + "/none/none", "wlan0", "its directory must be writable"},
        {mDirectory, "folder", "is no socket is in its place"},
        {mDirectory + "/" + std::string(107, 'a'), "wlan0", "use a shorter directory"}}) {
    mOptions.directory = directory;
    mOptions.interface = interface;
    EXPECT_THAT([&] { EmulatedDriver(mOptions).Start(); },
                testing::ThrowsMessage<Refusal>(testing::HasSubstr(part)));
  }
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(EmulatedDriverTest, OneOfTwoThatStartOnADeadSocketWins) {
  mOptions.directory = mDirectory;
  for (int round = 0; round < 300; ++round) {
    LeaveDeadSocket(mDirectory + "/wlan0");
    EmulatedDriver both[] = {EmulatedDriver(mOptions), EmulatedDriver(mOptions)};
    std::atomic<int> ready = 0;
    std::atomic<int> refused = 0;
    const auto start = [&](EmulatedDriver& driver) {
      for (++ready; ready < 2;) {
      }
      try {
        driver.Start();
      } catch (const Refusal&) {
        ++refused;
      }
    };
    std::thread other([&] { start(both[1]); });
    start(both[0]);
    other.join();
    ASSERT_EQ(refused, 1) << "round " << round;
    ASSERT_EQ(Client(mDirectory + "/wlan0").Ask("PING"), "PONG\n") << "round " << round;
  }
}

TEST_F(EmulatedDriverTest, StartsAgainOnADeadSocketUnlessAnotherLocksTheDirectory) {
  const int directory = open(mDirectory.c_str(), O_RDONLY);
  flock(directory, LOCK_SH);
  StartDriver();  // needs no lock
  EXPECT_EQ(NewClient().Ask("DRIVER SET_LATENCY_MODE 7"), "OK\n");
  mDriver->Stop();
  LeaveDeadSocket(mDriver->SocketPath());  // which Stop has removed
  EXPECT_THAT([&] { mDriver->Start(); },
              testing::ThrowsMessage<Refusal>(testing::HasSubstr("another process locks")));
  close(directory);
  mDriver->Start();
  EXPECT_THAT(NewClient().Ask("STATUS"), testing::StartsWith("latency_mode=7\n"));
}

TEST_F(EmulatedDriverTest, HoldsAnswersBackWithoutHoldingUpOthers) {
  StartDriver({"PING@1:delay=50", "PING@2:delay=3600000"});
  const Client client = NewClient();
  EXPECT_EQ(client.Ask("PING"), "PONG\n");
  client.Send("PING");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n") << "overtakes the answer that is held back";
  mDriver->Stop();  // does not wait for the last answer
}

}  // namespace
