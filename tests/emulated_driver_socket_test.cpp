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

// What a supplicant does besides answering, as the real one was seen to do it. With
// SUPPLICANT_SOCKET in the environment, the path of a real one's control socket, that one is asked
// in the emulated driver's place.
class SupplicantHabits : public EmulatedDriverTest {
 protected:
  SupplicantHabits() {
    if (const char* real = std::getenv("SUPPLICANT_SOCKET"); real != nullptr) {
      mPath = real;
    } else {
      StartDriver();
    }
  }
  // How many messages come by themselves.
  static int Drain(const Client& client) {
    return client.Receive(MSG_DONTWAIT).empty() ? 0 : 1 + Drain(client);
  }
  std::string mPath = mDirectory + "/wlan0";
};

TEST_F(SupplicantHabits, SendsMessagesBeforeTheAnswer) {
  EXPECT_EQ(Client(mPath).Ask("ATTACH"), "OK\n");  // and has vanished
  const Client client(mPath);
  EXPECT_EQ(client.Ask("ATTACH"), "OK\n");
  EXPECT_EQ(client.Ask("ATTACH"), "OK\n");
  EXPECT_EQ(client.Ask(kShow), "<3>SVC-EVENT: svc_count:3");
  EXPECT_THAT(client.Receive(), testing::EndsWith("(3, 50, 34, 32)"));
  EXPECT_EQ(client.Receive(), "OK\n");
  EXPECT_THAT(client.Ask("STATUS"), testing::StartsWith("<3>CTRL-EVENT-STATE-CHANGE "))
      << "Android's";
  EXPECT_NE(client.Receive(), "");
  EXPECT_THAT(client.Ask("STATUS-DRIVER"), testing::StartsWith("latency_mode=1\n"))
      << "tells nobody";
  EXPECT_EQ(client.Ask("DETACH"), "OK\n");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n");
  EXPECT_EQ(client.Ask(kShow), "OK\n");
  EXPECT_EQ(client.Ask("DRIVER"), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client.Ask("DRIVER "), "FAIL\n");
  EXPECT_EQ(client.Ask("PING "), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client.Ask(""), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client.Ask(std::string(8192, 'A')), "UNKNOWN COMMAND\n");
  client.Send(std::string(8193, 'A'));
  EXPECT_EQ(client.Ask("PING"), "PONG\n") << "the answer to what came before is none";
}

TEST_F(SupplicantHabits, AnswersThoughMessagesLieUnreadAndReopensWithoutRoomForAnAnswer) {
  const Client idle(mPath);
  const Client reading(mPath);
  const Client asking(mPath);
  idle.Ask("ATTACH");
  reading.Ask("ATTACH");
  int fresh = 0;
  int asked = 0;
  do {
    ASSERT_EQ(asking.Ask(kShow), "OK\n");
    usleep(5000);  // by now it waits for the next command
    fresh = Drain(reading);
  } while (fresh > 0 && ++asked < 250);
  EXPECT_EQ(fresh, 0) << "held back for all";
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(asking.Ask(kShow), "OK\n");
  }
  EXPECT_GT(Drain(idle), 0);
  const Client flooding(mPath);
  int unread = 0;  // answers, with the commands that are still waiting
  while (flooding.TryToSend("PING") && unread < 1000) {
    ++unread;
  }
  EXPECT_GT(unread, 0);
  EXPECT_FALSE(asking.TryToSend("PING")) << "the socket was opened again, for all";
  Drain(reading);  // what a supplicant had queued
  EXPECT_EQ(Client(mPath).Ask(kShow), "OK\n");
  EXPECT_EQ(Drain(reading), 0) << "no longer attached";
}

}  // namespace
