// A control socket that says what the test tells it to, in a temporary directory of its own.
//
//   ScriptedSupplicant supplicant;               answers PING, ATTACH and DETACH
//   supplicant.Answer("DRIVER A", {"OK\n"});     then "DRIVER A" too; {} is silence
//   supplicant.Tell("<3>SVC-EVENT: 1");          to whoever is attached
//
// A command without an answer set is answered UNKNOWN COMMAND.
#ifndef NUVREL_TESTS_HOST_SCRIPTED_SUPPLICANT_H_
#define NUVREL_TESTS_HOST_SCRIPTED_SUPPLICANT_H_

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ScriptedSupplicant {
 public:
  ScriptedSupplicant() {
    mAddress.sun_family = AF_UNIX;
    const std::string path = mDirectory + "/wlan0";
    std::memcpy(mAddress.sun_path, path.c_str(), path.size() + 1);
    Start();
  }
  ~ScriptedSupplicant() {
    Kill();
    rmdir(mDirectory.c_str());
  }
  std::string Path() const { return mAddress.sun_path; }

  void Start() {
    mSocket = socket(AF_UNIX, SOCK_DGRAM, 0);
    const auto* address = reinterpret_cast<const sockaddr*>(&mAddress);
    EXPECT_EQ(bind(mSocket, address, sizeof(mAddress)), 0);
    mThread = std::thread([this] { Serve(); });
  }
  void Kill() {
    if (mThread.joinable()) {
      shutdown(mSocket, SHUT_RDWR);
      mThread.join();
      close(mSocket);
      unlink(mAddress.sun_path);
    }
  }
  void Answer(const std::string& command, const std::vector<std::string>& datagrams) {
    const std::lock_guard<std::mutex> lock(mLock);
    mAnswers[command] = datagrams;
  }
  // Sends to whoever sent `command` last: to the listener, or as a late answer. Waits while that
  // queue is full; false when nobody is there any more.
  bool Tell(const std::string& text, const std::string& command = "ATTACH") {
    const std::lock_guard<std::mutex> lock(mLock);
    return SendTo(mSenders[command], text);
  }
  size_t CommandsReceived() {
    const std::lock_guard<std::mutex> lock(mLock);
    return mReceived;
  }

 private:
  bool SendTo(const sockaddr_un& to, const std::string& text) const {
    const auto* address = reinterpret_cast<const sockaddr*>(&to);
    return sendto(mSocket, text.data(), text.size(), 0, address, sizeof(to)) >= 0;
  }
  void Serve() {
    std::vector<char> buffer(20000);
    for (;;) {
      sockaddr_un from{};
      socklen_t size = sizeof(from);
      auto* address = reinterpret_cast<sockaddr*>(&from);
      const ssize_t length = recvfrom(mSocket, buffer.data(), buffer.size(), 0, address, &size);
      if (length <= 0) {
        return;
      }
      const std::lock_guard<std::mutex> lock(mLock);
      const std::string command(buffer.data(), static_cast<size_t>(length));
      ++mReceived;
      mSenders[command] = from;
      mAnswers.try_emplace(command, 1, "UNKNOWN COMMAND\n");
      for (const std::string& datagram : mAnswers[command]) {
        SendTo(from, datagram);
      }
    }
  }

  std::string mDirectory = mkdtemp(std::string("/tmp/scripted-XXXXXX").data());
  sockaddr_un mAddress{};
  int mSocket = -1;
  std::mutex mLock;
  std::map<std::string, std::vector<std::string>> mAnswers = {
      {"PING", {"PONG\n"}}, {"ATTACH", {"OK\n"}}, {"DETACH", {"OK\n"}}};
  std::map<std::string, sockaddr_un> mSenders;  // by command
  size_t mReceived = 0;
  std::thread mThread;
};

#endif  // NUVREL_TESTS_HOST_SCRIPTED_SUPPLICANT_H_
