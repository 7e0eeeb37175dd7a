// An emulated driver in a temporary directory of its own, and clients of its socket.
//
//   class MyTest : public EmulatedDriverTest ...
//   StartDriver({"PING@2:fail"});                   a rule that never fires fails the test
//   Client client = NewClient();
//   EXPECT_EQ(client.Ask("PING"), "PONG\n");
#pragma once

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "emulated_driver/emulated_driver.h"

constexpr char kShow[] = "DRIVER SERVICE_CLASS_SHOW";

inline long OpenDescriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return std::distance(begin(open), end(open));
}

// A client of a control socket, with an address that the system picks.
class Client {
 public:
  explicit Client(const std::string& path) {
    const timeval limit{20, 0};
    setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    sockaddr_un address{AF_UNIX, {}};
    EXPECT_EQ(bind(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(sa_family_t)), 0);
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    int tries = 0;  // it may be being opened anew
    while (connect(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 &&
           ++tries < 1000) {
      usleep(1000);
    }
    EXPECT_LT(tries, 1000) << path;
  }
  Client(const Client&) = delete;
  ~Client() { close(mSocket); }

  // False when the socket that it was opened to is gone.
  bool TryToSend(const std::string& command) const {
    return send(mSocket, command.data(), command.size(), 0) == std::ssize(command);
  }
  void Send(const std::string& command) const { EXPECT_TRUE(TryToSend(command)); }
  // Empty when nothing comes for 20 s, or has come by now where `flags` say MSG_DONTWAIT.
  std::string Receive(int flags = 0) const {
    std::string text(8192, '\0');
    const ssize_t size = recv(mSocket, text.data(), text.size(), flags);
    text.resize(size < 0 ? 0 : static_cast<size_t>(size));
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
  ~EmulatedDriverTest() override {
    for (const FaultRule& fault : mDriver ? mDriver->Faults() : std::vector<FaultRule>()) {
      EXPECT_GT(fault.fired, 0U) << fault.text;
    }
    std::filesystem::remove_all(mDirectory);
  }
  void StartDriver(const std::vector<std::string>& faults = {}) {
    mOptions.directory = mDirectory;
    mOptions.faults.clear();
    std::transform(faults.begin(), faults.end(), std::back_inserter(mOptions.faults),
                   ParseFaultRule);
    mDriver.emplace(mOptions);
    mDriver->Start();
  }
  Client NewClient() const { return Client(mDriver->SocketPath()); }

  const std::string mDirectory = mkdtemp(std::string("/tmp/driver-XXXXXX").data());
  EmulatedDriverOptions mOptions;
  std::optional<EmulatedDriver> mDriver;
};
