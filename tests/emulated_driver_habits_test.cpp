// What a supplicant does besides answering, as the real one was seen to do it. With
// SUPPLICANT_SOCKET in the environment, the path of a real one's control socket, that one is asked
// in the emulated driver's place.
#include "tests/emulated_driver_fixture.h"

namespace {

constexpr char kShow[] = "DRIVER SERVICE_CLASS_SHOW";

class SupplicantHabits : public EmulatedDriverTest {
 protected:
  SupplicantHabits() {
    const char* real = std::getenv("SUPPLICANT_SOCKET");
    if (real == nullptr) {
      StartDriver();
    }
    mPath = real != nullptr ? real : mDriver->SocketPath();
  }
  // How many messages come by themselves.
  static int Drain(const Client& client) {
    int count = 0;
    while (!client.Receive(MSG_DONTWAIT).empty()) {
      ++count;
    }
    return count;
  }
  std::string mPath;
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
