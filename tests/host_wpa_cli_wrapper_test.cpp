// The wrapper against a control socket whose every answer is scripted.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/select.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <future>
#include <limits>

#include "framework/wpa_cli_wrapper.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"
#include "tests/host_scripted_supplicant.h"

namespace {

using ::testing::ElementsAre;

constexpr int32_t kPatient = 20000;  // ms; never reached unless something is broken

size_t SocketFiles() {
  const std::string mine = "wpa_ctrl_" + std::to_string(getpid()) + "-";
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    count += entry.path().filename().string().starts_with(mine) ? 1 : 0;
  }
  return count;
}

class WrapperTest : public ::testing::Test {
 protected:
  ~WrapperTest() override {
    SetWpaExchangeObserver(nullptr);
    ReleaseWpacliWrapperHandle();
    EXPECT_EQ(SocketFiles(), 0U);
  }
  void Open() { ASSERT_GE(mWrapper->OpenCtrlInterface(mSupplicant.Path()), 0); }
  int32_t Execute(const std::string& command) {
    return mWrapper->ExecuteCommand(command, "", mReply, 0);
  }
  int32_t Wait(const std::string& prefix, int32_t limit = kPatient) {
    return mWrapper->GetResponse(mMessage, prefix, limit);
  }

  ScriptedSupplicant mSupplicant;
  WpaCliWrapper* mWrapper = GetWpacliWrapperHandle();
  std::string mReply = "what an earlier command answered";
  std::string mMessage = "what an earlier wait gave";
};

TEST_F(WrapperTest, AnswerReplacesReplyAndRefusalIsFailure) {
  Open();
  const struct {
    std::string answer, reply;
    bool refused;
  } cases[] = {
      {"cookie=12\n", "cookie=12\n", false},
      {"", "", false},
      {std::string(5000, 'x'), std::string(4096, 'x'), false},
      {"FAIL-BUSY\n", "FAIL-BUSY\n", true},
      {"UNKNOWN COMMAND\n", "UNKNOWN COMMAND\n", true},
  };
  for (const auto& [answer, reply, refused] : cases) {
    mSupplicant.Answer("DRIVER A", {answer});
    EXPECT_EQ(Execute("DRIVER A") < 0, refused) << answer;
    EXPECT_EQ(mReply, reply);
  }
  const size_t received = mSupplicant.CommandsReceived();
  EXPECT_LT(Execute(""), 0);
  EXPECT_LT(Execute(std::string(8193, 'x')), 0) << "it would never be answered";
  EXPECT_EQ(mSupplicant.CommandsReceived(), received);
}

TEST_F(WrapperTest, FailedOpenLeavesNothingOpen) {
  std::vector<int> files;
  const auto useUpDescriptors = [&] {
    mWrapper->CloseCtrlInterface();  // its own descriptors would be free again otherwise
    while (files.empty() || files.back() < FD_SETSIZE) {
      files.push_back(open("/dev/null", O_RDONLY));
      ASSERT_GE(files.back(), 0);
    }
  };
  const struct {
    const char* what;
    std::string path;
    std::function<void()> prepare;
  } cases[] = {
      {"nobody listens", mSupplicant.Path() + "x", [] {}},
      {"path too long", "/tmp/" + std::string(103, 'x'), [] {}},
      {"too many open files for select", mSupplicant.Path(), useUpDescriptors},
      {"no listener", mSupplicant.Path(), [&] { mSupplicant.Answer("ATTACH", {"FAIL\n"}); }},
      {"no supplicant", mSupplicant.Path(), [&] { mSupplicant.Answer("PING", {"hello\n"}); }},
  };
  for (const auto& [what, path, prepare] : cases) {
    mSupplicant.Answer("ATTACH", {"OK\n"});
    Open();
    prepare();
    EXPECT_LT(mWrapper->OpenCtrlInterface(path), 0) << what;
    EXPECT_EQ(SocketFiles(), 0U) << what;
    EXPECT_LT(Execute("DRIVER A"), 0) << what;
    EXPECT_LT(Wait("", 0), 0) << what;
    std::for_each(files.begin(), files.end(), close);
    files.clear();
  }
}

TEST_F(WrapperTest, SecondOpenAndReleaseKeepNoSocketOfTheFirst) {
  Open();
  Open();
  EXPECT_EQ(SocketFiles(), 2U);
  EXPECT_EQ(GetWpacliWrapperHandle(), mWrapper);
  ReleaseWpacliWrapperHandle();
  EXPECT_EQ(SocketFiles(), 0U);
  ReleaseWpacliWrapperHandle();
  EXPECT_LT(GetWpacliWrapperHandle()->ExecuteCommand("PING", "", mReply, 0), 0);
}

TEST_F(WrapperTest, WaitSkipsOtherMessagesAndKeepsTheWholeOne) {
  Open();
  const std::string tooLong = "<3>SVC-EVENT: " + std::string(9000, '(');
  for (const std::string& text : {std::string("<3>OTHER"), std::string("no message\n"), tooLong}) {
    mSupplicant.Tell(text);
  }
  ASSERT_GE(Wait("<3>SVC-EVENT:"), 0);
  EXPECT_EQ(mMessage, tooLong);
  EXPECT_LT(Wait("<3>SVC-EVENT:", -5), 0);
  EXPECT_EQ(mMessage, "");
}

TEST_F(WrapperTest, WaitEndsThoughOtherMessagesKeepComing) {
  Open();
  std::atomic<bool> done{false};
  std::thread flood([&] {
    while (!done) {
      mSupplicant.Tell("<3>OTHER");
    }
  });
  EXPECT_LT(Wait("<3>SVC-EVENT:", 100), 0);
  done = true;
  flood.join();
}

TEST_F(WrapperTest, IdleListenerKeepsReadingAndLosesTheOldest) {
  Open();
  for (int number = 1; number <= 300; ++number) {
    ASSERT_TRUE(mSupplicant.Tell("<3>" + std::to_string(number)));
  }
  ASSERT_GE(Wait("<3>"), 0);
  EXPECT_EQ(mMessage, "<3>45");
  ASSERT_GE(Wait("<3>300"), 0);
}

TEST_F(WrapperTest, CommandDropsWhatCameBeforeIt) {
  mSupplicant.Answer("DRIVER A", {"first\n", "second\n"});
  mSupplicant.Answer("DRIVER B", {"third\n"});
  Open();
  ASSERT_EQ(Execute("DRIVER A"), 0);
  mSupplicant.Tell("<3>SVC-EVENT: stale");
  ASSERT_EQ(Execute("DRIVER B"), 0);
  EXPECT_EQ(mReply, "third\n");
  mSupplicant.Tell("<3>SVC-EVENT: new");
  ASSERT_GE(Wait("<3>SVC-EVENT:"), 0);
  EXPECT_EQ(mMessage, "<3>SVC-EVENT: new");
}

TEST_F(WrapperTest, CloseEndsAWait) {
  Open();
  auto wait = std::async(std::launch::async,
                         [&] { return Wait("<3>", std::numeric_limits<int32_t>::max()); });
  EXPECT_EQ(wait.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  mWrapper->CloseCtrlInterface();
  EXPECT_LT(wait.get(), 0);
}

TEST_F(WrapperTest, LateAnswerReachesNobody) {
  mSupplicant.Answer("DRIVER SLOW", {});
  mSupplicant.Answer("DRIVER B", {"OK b\n"});
  Open();
  EXPECT_LT(Execute("DRIVER SLOW"), 0);  // after 10 s
  EXPECT_EQ(mReply, "");
  EXPECT_FALSE(mSupplicant.Tell("OK late\n", "DRIVER SLOW"));
  ASSERT_EQ(Execute("DRIVER B"), 0);
  EXPECT_EQ(mReply, "OK b\n");
  mSupplicant.Tell("<3>SVC-EVENT: attached again");
  EXPECT_GE(Wait("<3>SVC-EVENT:"), 0);
}

TEST_F(WrapperTest, VanishedPeerFailsCommandsUntilOpenedAgain) {
  Open();
  mSupplicant.Kill();
  EXPECT_LT(Execute("DRIVER A"), 0);
  EXPECT_LT(mWrapper->OpenCtrlInterface(mSupplicant.Path()), 0);
  mSupplicant.Start();
  Open();
  EXPECT_EQ(Execute("PING"), 0);
}

TEST_F(WrapperTest, ConcurrentCommandsGetTheirOwnAnswers) {
  Open();
  const auto countWrong = [&](const std::string& name) {
    int wrong = 0;
    std::string reply;
    for (int count = 0; count < 300; ++count) {
      wrong += mWrapper->ExecuteCommand(name, "", reply, 0) < 0 || reply != name ? 1 : 0;
    }
    return wrong;
  };
  mSupplicant.Answer("A", {"A"});
  mSupplicant.Answer("B", {"B"});
  auto other = std::async(std::launch::async, countWrong, "A");
  EXPECT_EQ(countWrong("B"), 0);
  EXPECT_EQ(other.get(), 0);
}

// Records, and closes the interface, which hangs if a lock is held.
class ClosingObserver : public WpaExchangeObserver {
 public:
  void OnExchange(const WpaExchange& exchange) override {
    EXPECT_LE(exchange.begin, exchange.end);
    Record(exchange.command, exchange.reply, exchange.result);
  }
  void OnWait(const WpaWait& wait) override { Record(wait.prefix, wait.message, wait.result); }
  std::vector<std::string> mSeen;

 private:
  void Record(std::string_view asked, std::string_view got, int32_t result) {
    mSeen.push_back(std::string(asked) + "|" + std::string(got) + (result < 0 ? "|-" : "|0"));
    GetWpacliWrapperHandle()->CloseCtrlInterface();
  }
};

TEST_F(WrapperTest, ObserverSeesSuccessAndFailure) {
  ClosingObserver observer;
  SetWpaExchangeObserver(&observer);
  Open();
  Execute("PING");
  Execute("PING");
  Open();
  mSupplicant.Tell("<3>X");
  Wait("<3>");
  Wait("<3>");
  EXPECT_THAT(observer.mSeen, ElementsAre("PING|PONG\n|0", "PING||-", "<3>|<3>X|0", "<3>||-"));
}

}  // namespace
