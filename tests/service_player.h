// Plays a session of a transcript on a service of its own.
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

  // Performs the "given" and ">" lines of a session and returns all of it as it happened.
  std::string Play(const std::string& session) {
    std::string happened;
    std::istringstream lines(session);
    for (std::string line; std::getline(lines, line);) {
      const bool shown = line[0] == '>';
      if (!shown && !line.starts_with("given ")) {
        continue;
      }
      const std::string command = shown ? line.substr(0, line.rfind(" = ")) : line;
      const int result = Perform(command.substr(command.find(' ') + 1));
      happened += command + (shown ? " = " + std::to_string(result) : "") + "\n";
      const std::string outcome = Record() + State();
      happened += shown ? outcome : "";
    }
    return happened;
  }

 private:
  // Sets up what is behind "when", then runs the command before it.
  int Perform(const std::string& line) {
    const size_t when = std::min(line.find(" when "), line.size());
    std::istringstream setUps(Replace(line.substr(when), " and ", "\n"));
    setUps.ignore(std::strlen(" when "));
    for (std::string setUp; std::getline(setUps, setUp);) {
      PerformOne(Replace(Replace(setUp, "\\n", "\n"), "\\t", "\t"));
    }
    return PerformOne(line.substr(0, when));
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

  // The levels by their letters, and "calls".
  int Show() {
    gNuvrelLogLevel = 0;
    for (uint32_t bit = 0; bit < 4; ++bit) {
      const bool logged = mRest.find("EWID"[bit]) != std::string::npos;
      gNuvrelLogLevel |= logged ? mLogLevel & 1U << bit : 0;
    }
    mShowCalls = mRest.starts_with("calls");
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
  const std::map<std::string, std::string*> mTexts = {{"interface-name", &platform.interface},
                                                      {"self-address", &platform.self},
                                                      {"peer-address", &platform.peer},
                                                      {"answer", &platform.reply},
                                                      {"refuse", &platform.refuse}};
  const std::map<std::string, int32_t*> mNumbers = {
      {"network-result", &platform.network},  {"open-result", &platform.open},
      {"fail-write", &platform.failingWrite}, {"write-error", &platform.writeError},
      {"write-limit", &platform.writeLimit},  {"connection-result", &connection.result}};
  const std::map<std::string, int> mPackets = {
      {"command-0", 0}, {"init", 1}, {"flows", 2}, {"deinit", 3},    {"apply", 4},
      {"revert", 5},    {"add", 6},  {"clear", 7}, {"command-8", 8}, {"command-255", 255}};
  unsigned char mId = 0;
  const std::map<std::string, std::function<int()>> mOthers = {
      {"show", [this] { return Show(); }},
      {"client", [this] { return platform.client = 1; }},
      {"no-client", [this] { return platform.client = 0; }},
      {"handle", [this] { return platform.handle = 1; }},
      {"no-handle", [this] { return platform.handle = 0; }},
      {"event", [this] { return platform.messages.push_back("<3>SVC-EVENT:" + mRest), 0; }},
      {"node", [this] { return PlaceNode(); }},
      {"text-settings", [this] { return Set(parser.mStrings); }},
      {"number-settings", [this] { return Set(parser.mIntegers); }},
      {"no-settings", [this] { return parser.mStrings.clear(), parser.mIntegers.clear(), 0; }},
      {"parser-logging", [this] { return parser.mLogMask = mLogLevel & 4U, 0; }},
      {"no-parser", [this] { return mConfigParser = nullptr, 0; }},
      {"create", [this] { return CreateInstance(); }},
      {"release", [this] { return ReleaseInstance(); }},
      {"apply-sysfs", [this] { return errno = EBADF, ApplySysfsLinkConfiguration(); }},
      {"apply-commands", [this] { return ApplyWpaCliLinkConfiguration(); }},
      {"revert-commands", [this] { return RevertWpaCliLinkConfiguration(); }},
      {"delete", [this] { return DeleteLAPBFlowPolicy(std::stoi(mRest)); }},
      {"update-map", [this] { return UpdateServiceIDMap(); }},
      {"create-class", [this] { return CreateServiceClass(1, 2, 3, &mId) + mId; }}};
};
