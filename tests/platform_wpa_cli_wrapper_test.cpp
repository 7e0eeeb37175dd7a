// The wrapper on an emulated driver, also on one that fails.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <limits>
#include <thread>

#include "framework/wpa_cli_wrapper.h"
#include "tests/emulated_driver_fixture.h"

namespace {

// How many socket files of clients this process has now.
long SocketFiles() {
  const std::filesystem::directory_iterator files(std::filesystem::temp_directory_path());
  return std::count_if(begin(files), end(files), [](const auto& file) {
    return file.path().filename().string().starts_with("wpa_ctrl_" + std::to_string(getpid()) +
                                                       "-");
  });
}

class WrapperTest : public EmulatedDriverTest {
 protected:
  ~WrapperTest() override {
    ReleaseWpacliWrapperHandle();
    EXPECT_EQ(SocketFiles(), 0);
  }
  void Open() { ASSERT_GE(mWrapper->OpenCtrlInterface(mDriver->SocketPath()), 0); }
  int32_t Execute(const std::string& command) {
    return mWrapper->ExecuteCommand(command, "", mReply, 0);
  }
  int32_t Wait(const std::string& prefix, int32_t limit = 20000) {
    return mWrapper->GetResponse(mMessage, prefix, limit);
  }

  WpaCliWrapper* mWrapper = GetWpacliWrapperHandle();
  std::string mReply = "what an earlier command answered";
  std::string mMessage = "what an earlier wait gave";
};

// What counts as a refusal is in wlc_transcripts/faults.txt.
TEST_F(WrapperTest, AnswerReplacesReplyUpToItsLimit) {
  std::atomic<int> received = 0;
  mOptions.observer = [&](const WireExchange&) { ++received; };
  StartDriver({"STATUS@1:reply=", "STATUS@2:reply=" + std::string(5000, 'x')});
  Open();
  Open();
  EXPECT_EQ(SocketFiles(), 2) << "none of the first";
  EXPECT_GE(Execute("STATUS"), 0);
  EXPECT_EQ(mReply, "");
  EXPECT_GE(Execute("STATUS"), 0);
  EXPECT_EQ(mReply, std::string(4096, 'x'));
  const int before = received;
  EXPECT_LT(Execute(""), 0);
  EXPECT_LT(Execute(std::string(8193, 'x')), 0) << "it would never be answered";
  EXPECT_EQ(received, before);
}

// With a script for its driver: wlc_transcripts/hostile.txt.
TEST_F(WrapperTest, SignalsNeitherEndACommandOrAWaitNorMakeThemLonger) {
  StartDriver({"PING@1:delay=300", "PING@2:delay=3600000", "events@2:delay=300"});
  Open();
  struct sigaction nothing = {};
  nothing.sa_handler = [](int) {};
  sigaction(SIGALRM, &nothing, nullptr);
  itimerval each{{0, 50'000}, {0, 50'000}};
  setitimer(ITIMER_REAL, &each, nullptr);
  EXPECT_EQ(Execute("PING"), 0);
  EXPECT_EQ(mReply, "PONG\n");
  Execute(kShow);
  EXPECT_GE(Wait("<3>SVC-EVENT: ("), 0);
  EXPECT_EQ(Execute("PING"), -2);
  each = {};
  setitimer(ITIMER_REAL, &each, nullptr);
  EXPECT_EQ(Execute("PING"), 0) << "overtakes the answer that is held back";
}

TEST_F(WrapperTest, MessageBeforeTheAnswerToAttachIsNotTakenForIt) {
  StartDriver({"ATTACH:delay=300"});
  auto open = std::async(std::launch::async, [&] { Open(); });
  const Client client = NewClient();
  while (open.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
    client.Ask(kShow);
  }
}

TEST_F(WrapperTest, EachMessageGoesToOneOfTwoWaits) {
  StartDriver({"events:delay=100"});
  Open();
  std::string messages[2];
  Execute(kShow);
  const auto wait = [&](std::string& message) {
    mWrapper->GetResponse(message, "", std::numeric_limits<int32_t>::max());
  };
  std::thread other(wait, std::ref(messages[1]));
  wait(messages[0]);
  other.join();
  EXPECT_THAT(messages, testing::UnorderedElementsAre(testing::EndsWith("svc_count:3"),
                                                      testing::EndsWith("(3, 50, 34, 32)")));
}

TEST_F(WrapperTest, FailedOpenLeavesNothingOpen) {
  StartDriver({"ATTACH@4:fail"});
  const std::string path = mDirectory + "/wlan0";
  for (const std::string& bad : {path + "x", "/tmp/" + std::string(103, 'x'), path}) {
    mWrapper->OpenCtrlInterface(path);
    EXPECT_LT(mWrapper->OpenCtrlInterface(bad), 0) << bad;
    EXPECT_EQ(SocketFiles(), 0);
    EXPECT_LT(Execute("PING"), 0) << bad;
    EXPECT_LT(Wait("", 0), 0) << bad;
  }
}

TEST_F(WrapperTest, WaitSkipsOtherMessagesAndEndsWithItsLimitOrAClose) {
  for (uint32_t id = 0; id < 400; ++id) {
    mOptions.serviceClasses.push_back({id, 1000000000 + id, 63, 63});
  }
  StartDriver();
  Open();
  ASSERT_EQ(Execute(kShow), 0);
  ASSERT_GE(Wait("<3>SVC-EVENT: ("), 0);
  EXPECT_THAT(mMessage, testing::EndsWith(" (399, 1000000399, 63, 63)")) << "it is whole";
  EXPECT_LT(Wait("<3>", -5), 0);
  EXPECT_EQ(mMessage, "");
  auto wait = std::async(std::launch::async,
                         [&] { return Wait("<3>", std::numeric_limits<int32_t>::max()); });
  EXPECT_EQ(wait.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  mDriver->Stop();  // no answer to DETACH wakes anybody
  mWrapper->CloseCtrlInterface();
  EXPECT_LT(wait.get(), 0);
}

TEST_F(WrapperTest, IdleListenerKeepsTheNewestMessagesUntilACommand) {
  StartDriver();
  Open();
  const Client client = NewClient();
  for (int i = 0; i < 150; ++i) {
    client.Ask(kShow);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // or the driver holds some back
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the last are read by now
  for (int left = 256; left > 0; --left) {
    EXPECT_GE(Wait("", 0), 0) << left;
  }
  EXPECT_LT(Wait("", 500), 0);
  client.Ask(kShow);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // its messages are read by now
  ASSERT_EQ(Execute(kShow), 0);
  ASSERT_GE(Wait("<3>SVC-EVENT: ("), 0);
  EXPECT_LT(Wait("", 100), 0) << "those from before the command are gone";
}

TEST_F(WrapperTest, TwoThreadsGetTheirOwnAnswersAndAWaitEndsThoughMessagesKeepComing) {
  StartDriver();
  Open();
  std::atomic<bool> done{false};
  std::thread flood([&] {
    for (std::string reply; !done;) {
      mWrapper->ExecuteCommand(kShow, "", reply, 0);
      EXPECT_EQ(reply, "OK\n");
    }
  });
  for (int i = 0; i < 300; ++i) {
    Execute("PING");
    EXPECT_EQ(mReply, "PONG\n");
  }
  EXPECT_LT(Wait("<3>OTHER", 100), 0);
  done = true;
  flood.join();
}

}  // namespace
