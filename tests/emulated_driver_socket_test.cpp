// The emulated driver behind its control socket, talked to by plain datagram clients.
#include <fcntl.h>
#include <sys/file.h>

#include <future>

#include "host/refusal.h"
#include "tests/emulated_driver_fixture.h"

namespace {

TEST_F(EmulatedDriverTest, StartsAtAFreePlaceOrADeadOwnersOnly) {
  StartDriver();
  std::filesystem::create_directory(mDirectory + "/folder");
  const std::string cases[][3] = {
      {mDirectory, "wlan0", "in use: stop"},
      {mDirectory + "/none/none", "wlan0", "its directory must be writable"},
      {mDirectory, "folder", "in use: stop"},
      {mDirectory + "/" + std::string(107, 'a'), "wlan0", "use a shorter directory"}};
  using Entries = std::filesystem::directory_iterator;
  const auto descriptors = [] { return std::distance(Entries("/proc/self/fd"), Entries()); };
  const auto before = descriptors();
  for (const auto& [directory, interface, part] : cases) {
    mOptions.directory = directory;
    mOptions.interface = interface;
    EXPECT_THAT([&] { EmulatedDriver(mOptions).Start(); },
                testing::ThrowsMessage<Refusal>(testing::HasSubstr(part)));
  }
  EXPECT_EQ(descriptors(), before);
  EXPECT_EQ(NewClient().Ask("DRIVER SET_LATENCY_MODE 7"), "OK\n");
  const std::string path = mDriver->SocketPath();
  std::filesystem::create_hard_link(path, path + "-dead");
  mDriver->Stop();
  EXPECT_FALSE(std::filesystem::exists(path));
  std::filesystem::rename(path + "-dead", path);
  mDriver->Start();
  EXPECT_THAT(NewClient().Ask("STATUS"), testing::StartsWith("latency_mode=7\n"));
}

TEST_F(EmulatedDriverTest, RemovesItsOwnSocketAndDirectoryOnly) {
  StartDriver();
  std::filesystem::remove(mDriver->SocketPath());
  EmulatedDriver second(mOptions);
  second.Start();
  mDriver->Stop();
  EXPECT_EQ(NewClient().Ask("PING"), "PONG\n");
  mOptions.directory = mDirectory + "/made";
  EmulatedDriver(mOptions).Start();
  EXPECT_FALSE(std::filesystem::exists(mOptions.directory));
}

TEST_F(EmulatedDriverTest, WaitsForAnotherThatIsClaimingASocket) {
  const int directory = open(mDirectory.c_str(), O_RDONLY);
  flock(directory, LOCK_EX);
  auto start = std::async(std::launch::async, [&] { StartDriver(); });
  EXPECT_EQ(start.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  close(directory);
  start.get();
}

TEST_F(EmulatedDriverTest, HoldsAnswersBackWithoutHoldingUpOthers) {
  StartDriver({"PING:delay=50@1", "PING:delay=3600000@2"});
  const Client client = NewClient();
  EXPECT_EQ(client.Ask("PING"), "PONG\n");
  client.Send("PING");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n") << "overtakes the answer that is held back";
  mDriver->Stop();  // does not wait for the last answer
}

}  // namespace
