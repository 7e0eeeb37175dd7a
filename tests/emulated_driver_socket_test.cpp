// The emulated driver behind its control socket, talked to by plain datagram clients.
#include "host/refusal.h"
#include "tests/emulated_driver_fixture.h"

namespace host {
namespace {

TEST_F(EmulatedDriverTest, AnswersAsASupplicantDoes) {
  for (uint32_t id = 0; id < 100; ++id) {
    mOptions.serviceClasses.push_back({id, 1000000000 + id, 63, 63});
  }
  StartDriver();
  const Client client = NewClient();
  EXPECT_EQ(client.Ask("PING "), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client.Ask(""), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client.Ask(std::string(8192, 'A')), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client.Ask("DRIVER "), "FAIL\n");
  client.Send(std::string(8193, 'A'));
  EXPECT_EQ(client.Ask("PING"), "PONG\n") << "the answer to what came before is none";
  const std::string status = client.Ask("STATUS");
  EXPECT_THAT(mDriver->Status(), testing::StartsWith(status));
  EXPECT_THAT(status, testing::EndsWith("\n")) << "cut, but behind a whole line";
  EXPECT_THAT(status, testing::SizeIs(testing::AllOf(testing::Le(4096), testing::Gt(4000))));
}

TEST_F(EmulatedDriverTest, SendsMessagesToWhoIsAttachedAndReads) {
  StartDriver();
  const Client asking = NewClient();
  const Client attached = NewClient();
  const Client detached = NewClient();
  EXPECT_EQ(NewClient().Ask("ATTACH"), "OK\n");  // and has vanished
  for (const Client* client : {&attached, &attached, &detached}) {
    EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  }
  EXPECT_EQ(detached.Ask("DETACH"), "OK\n");
  EXPECT_EQ(detached.Ask("DETACH"), "FAIL\n");
  EXPECT_EQ(asking.Ask("DRIVER SERVICE_CLASS_SHOW"), "OK\n");
  EXPECT_EQ(attached.Receive(), "<3>SVC-EVENT: svc_count:3");
  EXPECT_THAT(attached.Receive(), testing::EndsWith("(3, 50, 34, 32)"));
  for (const Client* client : {&asking, &attached, &detached}) {
    EXPECT_EQ(client->Ask("PING"), "PONG\n") << "no further message came before it";
  }
  for (int i = 0; i < 320; ++i) {  // more messages than a socket has room for
    asking.Send("DRIVER SERVICE_CLASS_SHOW");
    ASSERT_EQ(i < 300 ? asking.Receive() : "OK\n", "OK\n");
  }
  for (int i = 300; i < 320; ++i) {
    ASSERT_EQ(asking.Receive(), "OK\n") << "there is room for answers beside unread messages";
  }
  while (!attached.Receive(MSG_DONTWAIT).empty()) {
  }
  EXPECT_EQ(attached.Ask("DETACH"), "FAIL\n") << "was detached, as it did not read";
}

TEST_F(EmulatedDriverTest, StartsAtAFreePlaceOrADeadOwnersOnly) {
  StartDriver();
  std::filesystem::create_directory(mDirectory + "/folder");
  const std::string cases[][3] = {
      {mDirectory, "wlan0", "in use: stop"},
      {mDirectory + "/none", "wlan0", "the directory must exist"},
      {mDirectory, "folder", "in use: stop"},
      {mDirectory, "../wlan0", "is no interface name"},
      {mDirectory + "/" + std::string(107, 'a'), "wlan0", "use a shorter directory"}};
  for (const auto& [directory, interface, part] : cases) {
    mOptions.directory = directory;
    mOptions.interface = interface;
    EXPECT_THAT([&] { EmulatedDriver(mOptions).Start(); },
                testing::ThrowsMessage<Refusal>(testing::HasSubstr(part)));
  }
  EXPECT_THROW(mDriver->Start(), Refusal) << "serves already";
  EXPECT_EQ(NewClient().Ask("DRIVER SET_LATENCY_MODE 7"), "OK\n");
  const std::string path = mDriver->SocketPath();
  std::filesystem::create_hard_link(path, path + "-dead");
  mDriver->Stop();
  EXPECT_FALSE(std::filesystem::exists(path));
  std::filesystem::rename(path + "-dead", path);
  mDriver->Start();
  EXPECT_THAT(NewClient().Ask("STATUS"), testing::StartsWith("latency_mode=7\n"));
}

TEST_F(EmulatedDriverTest, HoldsAnswersBackWithoutHoldingUpOthers) {
  StartDriver({"PING:delay=500@1", "PING:delay=3600000@2"});
  const Client client = NewClient();
  client.Send("PING");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n") << "overtakes the answer that is held back";
  EXPECT_EQ(client.Receive(), "PONG\n");
  client.Send("PING");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n");
  mDriver->Stop();  // does not wait for the last answer
}

}  // namespace
}  // namespace host
