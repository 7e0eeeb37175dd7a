// The emulated driver behind its control socket, talked to by plain datagram clients.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/emulated_driver/emulated_driver.h"

namespace host {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kDidNotHangMs = 20000;

// A client of a control socket, with an address that the system picks.
class Client {
 public:
  explicit Client(const std::string& path) {
    sockaddr_un address{AF_UNIX, {}};
    EXPECT_EQ(bind(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(sa_family_t)), 0);
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(connect(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { close(mSocket); }

  void Send(const std::string& command) const {
    EXPECT_EQ(send(mSocket, command.data(), command.size(), 0), std::ssize(command));
  }
  std::string Receive(int waitMs = kDidNotHangMs) const {
    pollfd watched{mSocket, POLLIN, 0};
    std::string text(8192, '\0');
    const bool any = poll(&watched, 1, waitMs) == 1;
    text.resize(any ? static_cast<size_t>(recv(mSocket, text.data(), text.size(), 0)) : 0);
    return text;
  }
  std::string Ask(const std::string& command) const {
    Send(command);
    return Receive();
  }

 private:
  const int mSocket = socket(AF_UNIX, SOCK_DGRAM, 0);
};

class EmulatedDriverTest : public testing::Test {
 protected:
  EmulatedDriverTest() {
    std::string name = (std::filesystem::temp_directory_path() / "wlc-XXXXXX").string();
    mDirectory = mkdtemp(name.data());
    mOptions.directory = mDirectory;
    mOptions.interface = "wlan0";
    mOptions.recordWire = true;
  }
  ~EmulatedDriverTest() override { std::filesystem::remove_all(mDirectory); }

  void StartDriver() {
    std::string error;
    mDriver.emplace(mOptions);
    ASSERT_TRUE(mDriver->Start(&error)) << error;
  }
  Client NewClient() const { return Client(mDriver->SocketPath()); }
  // The line that explains why a driver with these options cannot start.
  std::string StartError() const {
    std::string error;
    EXPECT_FALSE(EmulatedDriver(mOptions).Start(&error));
    return error;
  }

  std::string mDirectory;
  EmulatedDriverOptions mOptions;
  std::optional<EmulatedDriver> mDriver;
};

TEST_F(EmulatedDriverTest, AnswersAsASupplicantDoes) {
  StartDriver();
  const Client client = NewClient();
  const WireExchange steps[] = {{"PING", "PONG\n"},
                                {"PING ", "UNKNOWN COMMAND\n"},
                                {"", "UNKNOWN COMMAND\n"},
                                {"DRIVER ", "FAIL\n"},
                                {"DRIVER SET_LATENCY_MODE 2", "OK\n"}};
  for (const WireExchange& step : steps) {
    EXPECT_EQ(client.Ask(step.command), step.reply) << step.command;
    EXPECT_EQ(mDriver->Wire().back().command, step.command);
    EXPECT_EQ(mDriver->Wire().back().reply, step.reply);
  }
  EXPECT_THAT(client.Ask("STATUS"), StartsWith("latency_mode=2\n"));
  client.Send(std::string(8193, 'A'));
  EXPECT_EQ(client.Ask("PING"), "PONG\n") << "the answer to what came before is none";
  EXPECT_EQ(client.Ask(std::string(8192, 'A')), "UNKNOWN COMMAND\n");
}

TEST_F(EmulatedDriverTest, CutsALongStatusBehindAWholeLine) {
  for (uint32_t id = 0; id < 100; ++id) {
    mOptions.serviceClasses.push_back({id, 1000000000 + id, 63, 63});
  }
  StartDriver();
  const std::string status = NewClient().Ask("STATUS");
  EXPECT_THAT(mDriver->Status(), StartsWith(status));
  EXPECT_THAT(status, EndsWith("\n"));
  EXPECT_LE(status.size(), 4096U);
  EXPECT_GT(status.size(), 4000U);
}

TEST_F(EmulatedDriverTest, SendsMessagesToWhoIsAttachedOnly) {
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
  EXPECT_THAT(attached.Receive(), EndsWith(") (0, 10, 46, 40) (1, 20, 46, 40) (3, 50, 34, 32)"));
  for (const Client* client : {&asking, &attached, &detached}) {
    EXPECT_EQ(client->Ask("PING"), "PONG\n") << "no further message came before it";
  }
}

TEST_F(EmulatedDriverTest, DetachesAClientThatNeverReads) {
  StartDriver();
  const Client deaf = NewClient();
  const Client asking = NewClient();
  EXPECT_EQ(deaf.Ask("ATTACH"), "OK\n");
  for (int i = 0; i < 300; ++i) {  // more messages than its socket has room for
    ASSERT_EQ(asking.Ask("DRIVER SERVICE_CLASS_SHOW"), "OK\n");
  }
  for (int i = 0; i < 20; ++i) {
    asking.Send("PING");
  }
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(asking.Receive(), "PONG\n") << "there is room for answers beside unread messages";
  }
  while (!deaf.Receive(0).empty()) {
  }
  EXPECT_EQ(deaf.Ask("DETACH"), "FAIL\n");
}

TEST_F(EmulatedDriverTest, TakesOverADeadOwnersFileOnly) {
  StartDriver();
  EXPECT_THAT(StartError(), HasSubstr(mDirectory + "/wlan0 is in use"));
  EXPECT_EQ(NewClient().Ask("DRIVER SET_LATENCY_MODE 7"), "OK\n");
  const std::string path = mDriver->SocketPath();
  std::filesystem::create_hard_link(path, path + "-dead");
  mDriver->Stop();
  EXPECT_FALSE(std::filesystem::exists(path));
  std::filesystem::rename(path + "-dead", path);
  std::string error;
  ASSERT_TRUE(mDriver->Start(&error)) << error;
  EXPECT_FALSE(mDriver->Start(&error)) << "serves already";
  EXPECT_THAT(NewClient().Ask("STATUS"), StartsWith("latency_mode=7\n"));
}

TEST_F(EmulatedDriverTest, SaysWhyItCannotStart) {
  std::filesystem::create_directory(mDirectory + "/folder");
  const std::string cases[][3] = {
      {mDirectory + "/none", "wlan0", "the directory must exist"},
      {mDirectory, "folder", "is a file of another kind"},
      {mDirectory, "../wlan0", "is no interface name"},
      {mDirectory + "/" + std::string(107, 'a'), "wlan0", "use a shorter directory"}};
  for (const auto& [directory, interface, part] : cases) {
    mOptions.directory = directory;
    mOptions.interface = interface;
    EXPECT_THAT(StartError(), HasSubstr(part));
  }
}

TEST_F(EmulatedDriverTest, HoldsBackAndLosesAnswersWithoutHoldingUpOthers) {
  std::string error;
  for (const char* rule : {"SET_LATENCY_MODE:drop@1", "SET_LATENCY_MODE:fail@2", "PING:delay=500@1",
                           "PING:delay=3600000@2", "events:drop@1", "ATTACH:reply=LATER"}) {
    mOptions.faults.push_back(ParseFaultRule(rule, &error).value());
  }
  StartDriver();
  const Client client = NewClient();
  const Client other = NewClient();
  client.Send("DRIVER SET_LATENCY_MODE 8");  // carried out, not answered
  EXPECT_EQ(client.Ask("DRIVER SET_LATENCY_MODE 9"), "FAIL\n");
  EXPECT_THAT(mDriver->Status(), StartsWith("latency_mode=8\n"));

  client.Send("PING");
  EXPECT_EQ(other.Ask("DETACH"), "FAIL\n");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n") << "overtakes the answer that is held back";
  EXPECT_EQ(client.Receive(), "PONG\n");

  EXPECT_EQ(other.Ask("ATTACH"), "LATER");
  EXPECT_EQ(client.Ask("DRIVER SERVICE_CLASS_SHOW"), "OK\n");
  EXPECT_THAT(other.Receive(), HasSubstr("(0, 10, 46, 40)")) << "the count was dropped";
  client.Send("PING");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n");
  for (const FaultCount& count : mDriver->FaultCounts()) {
    EXPECT_EQ(count.fired, 1U) << count.rule;
  }
  mDriver->Stop();  // does not wait for the last answer
}

}  // namespace
}  // namespace host
