// Plays a session of a transcript, as service_transcript_test.cpp describes it, on a service of its
// own.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>

#include "tests/service_rig.h"

inline std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// A line as transcripts write it.
inline std::string Shown(const std::string& line) {
  return Replace(Replace(line, "\n", "\\n"), "\t", "\\t").substr(0, 900) + "\n";
}

class Player : Rig {
 public:
  explicit Player(uint32_t logLevel) : Rig(logLevel), mLogLevel(logLevel) {
    EXPECT_EQ(pipe2(mPipe, O_CLOEXEC), 0);
    State();
  }
  ~Player() override {
    close(mPipe[0]);
    close(mPipe[1]);
    std::filesystem::remove_all(mDirectory);
  }

  // Performs the "$" and ">" lines of a session and returns all of it as it happened.
  std::string Play(const std::string& session) {
    std::string happened;
    std::istringstream lines(session);
    for (std::string line; std::getline(lines, line);) {
      const bool shown = line[0] == '>';
      if (!shown && line[0] != '$') {
        continue;
      }
      const std::string command = shown ? line.substr(0, line.rfind(" = ")) : line;
      const int result = Perform(Replace(Replace(command.substr(2), "\\n", "\n"), "\\t", "\t"));
      happened += command + (shown ? " = " + std::to_string(result) : "") + "\n";
      const std::string outcome = Record() + State();
      happened += shown ? outcome : "";
    }
    return happened;
  }

 private:
  // What stands behind the command in a line is done before it.
  int Perform(const std::string& line) {
    const std::regex bar(R"( \| )");
    std::vector<std::string> parts(std::sregex_token_iterator(line.begin(), line.end(), bar, -1),
                                   {});
    std::rotate(parts.begin(), parts.begin() + 1, parts.end());
    int result = 0;
    for (const std::string& part : parts) {
      result = PerformOne(part);
    }
    return result;
  }

  int PerformOne(const std::string& line) {
    const std::string verb = line.substr(0, line.find(' '));
    mRest = line.substr(std::min(line.size(), verb.size() + 1));
    if (const auto text = mTexts.find(verb); text != mTexts.end()) {
      *text->second = mRest;
      return 0;
    }
    if (const auto number = mNumbers.find(verb); number != mNumbers.end()) {
      *number->second = std::stoi(mRest);
      return 0;
    }
    if (const auto packet = mPackets.find(verb); packet != mPackets.end()) {
      std::istringstream words(mRest);
      const std::istream_iterator<int64_t> first(words);
      return Send(packet->second, {first, std::istream_iterator<int64_t>()});
    }
    return mOthers.at(verb)();
  }

  // Settings by the end of their key, each before its value.
  template <typename Value>
  int Set(std::map<std::string, Value>& settings) {
    std::istringstream words(mRest);
    for (std::string key; words >> key;) {
      words >> settings["nuvrel.services.wirelesslinkconfig." + key];
    }
    return 0;
  }

  // Puts a file with text of 40 letters, a pipe or nothing in the node's place.
  int PlaceNode() {
    std::filesystem::remove(mNode);
    mLinkConfig->wlanUnitTestTargetNode = mDirectory;
    std::filesystem::create_directory(mDirectory + "/wlan0");
    if (mRest == "file") {
      std::ofstream(mNode) << std::string(40, 'x');
    } else if (mRest == "pipe") {
      std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(mPipe[1]), mNode);
    }
    return 0;
  }

  int CreateInstance() {
    ServiceCreateParams params{&connection, &parser};
    CreateWirelessLinkConfigService(&mInstance, mRest.empty() ? &params : nullptr);
    return 0;
  }

  int ReleaseInstance() {
    const auto other = std::strtoul(mRest.c_str(), nullptr, 10);
    return ReleaseWirelessLinkConfigService(
        mRest.empty() ? mInstance
                      : reinterpret_cast<void*>(other));  // NOLINT(performance-no-int-to-ptr)
  }

  int Log() {
    gNuvrelLogLevel = mLogLevel & static_cast<uint32_t>(std::stoi(mRest));
    mShowCalls = !mRest.ends_with("alone");
    return 0;
  }

  // The lines for what was asked of the platform and logged.
  std::string Record() {
    std::string shown;
    for (const std::string& entry : platform.TakeRecord()) {
      const std::string text = Shown(Replace(entry, testing::PrintToString(mInstance), "<it>"));
      shown += entry[0] != '-' || mShowCalls ? text : "";
    }
    return shown;
  }

  // A "~" line for what has changed since the last call; messages not read are shown and gone.
  std::string State() {
    std::string holds = mServiceClient != nullptr ? " client" : "";
    holds += mWpaClient != nullptr ? " handle" : "";
    holds += mLinkConfig != nullptr ? " settings" : "";
    holds += mInitialized ? " ready" : "";
    holds += mLapbSupported ? " flows" : "";
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    std::string node;
    if (std::filesystem::is_regular_file(mNode)) {
      std::getline(std::ifstream(mNode), node);
    }
    const std::map<uint32_t, uint32_t> classes(mServiceIdMap.begin(), mServiceIdMap.end());
    const std::map<int, std::string> policies(mLapbPolicies.begin(), mLapbPolicies.end());
    const std::map<std::string, std::string> now = {
        {" addresses ", mSelfIpAddress + " " + mPeerIpAddress},
        {" classes ", testing::PrintToString(classes)},
        {" descriptors ", std::to_string(std::distance(begin(descriptors), end(descriptors)))},
        {" holds", holds},
        {" interface ", mInterfaceName},
        {" last reply ", mCmdReply},
        {" loaded ", testing::PrintToString(mLibLoader.*(&LoaderUnderTest::mRefCounts))},
        {" node ", node},
        {" path ", mWpaCtrlPath},
        {" policies ", testing::PrintToString(policies)},
        {" target ", mUnitTestTargetValue},
        {" unread ", std::to_string(std::exchange(platform.messages, {}).size())}};
    std::string changed;
    for (const auto& [name, text] : now) {
      if (mState[name] != text) {
        changed.append(changed.empty() ? "~" : ";").append(name).append(text);
      }
    }
    mState = now;
    mState[" unread "] = "0";
    return changed.empty() ? "" : Shown(changed);
  }

  const uint32_t mLogLevel;
  bool mShowCalls = true;
  const std::string mDirectory = mkdtemp((testing::TempDir() + "wlc_node_XXXXXX").data());
  const std::string mNode = mDirectory + "/wlan0/unit_test_target";
  int mPipe[2];
  void* mInstance = this;
  std::map<std::string, std::string> mState;

  // What a command may begin with; the rest of it is mRest.
  std::string mRest;
  const std::map<std::string, std::string*> mTexts = {{"interface", &platform.interface},
                                                      {"self", &platform.self},
                                                      {"peer", &platform.peer},
                                                      {"reply", &platform.reply},
                                                      {"refuse", &platform.refuse}};
  const std::map<std::string, int32_t*> mNumbers = {
      {"client", &platform.client},           {"handle", &platform.handle},
      {"network", &platform.network},         {"open", &platform.open},
      {"fail-write", &platform.failingWrite}, {"with", &platform.writeError},
      {"write-limit", &platform.writeLimit},  {"connection", &connection.result}};
  const std::map<std::string, int> mPackets = {
      {"command-0", 0}, {"init", 1}, {"flows", 2}, {"deinit", 3},    {"apply", 4},
      {"revert", 5},    {"add", 6},  {"clear", 7}, {"command-8", 8}, {"command-255", 255}};
  unsigned char mId = 0;
  const std::map<std::string, std::function<int()>> mOthers = {
      {"log", [this] { return Log(); }},
      {"says", [this] { return platform.messages.push_back("<3>SVC-EVENT:" + mRest), 0; }},
      {"node", [this] { return PlaceNode(); }},
      {"text", [this] { return Set(parser.mStrings); }},
      {"number", [this] { return Set(parser.mIntegers); }},
      {"forget-settings", [this] { return parser.mStrings.clear(), parser.mIntegers.clear(), 0; }},
      {"parser-log", [this] { return parser.mLogMask = mLogLevel & 4U, 0; }},
      {"forget-parser", [this] { return mConfigParser = nullptr, 0; }},
      {"create", [this] { return CreateInstance(); }},
      {"release", [this] { return ReleaseInstance(); }},
      {"sysfs", [this] { return errno = EBADF, ApplySysfsLinkConfiguration(); }},
      {"apply-commands", [this] { return ApplyWpaCliLinkConfiguration(); }},
      {"revert-commands", [this] { return RevertWpaCliLinkConfiguration(); }},
      {"delete", [this] { return DeleteLAPBFlowPolicy(std::stoi(mRest)); }},
      {"update-map", [this] { return UpdateServiceIDMap(); }},
      {"create-class", [this] { return CreateServiceClass(1, 2, 3, &mId) + mId; }}};
};
