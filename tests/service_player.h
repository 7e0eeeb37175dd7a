// Plays a session of a transcript, as service_transcript_test.cpp describes it, on a service of its
// own.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
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

// What a map holds, by key: "20:3 40:4".
template <typename Map>
std::string Pairs(const Map& map) {
  std::ostringstream text;
  for (const auto& [key, value] : std::map(map.begin(), map.end())) {
    text << " " << key << ":";
    if constexpr (std::is_integral_v<std::decay_t<decltype(value)>>) {
      text << +value;
    } else {
      text << value;
    }
  }
  return text.str();
}

class Player : Rig {
 public:
  Player(uint32_t logLevel, bool withParser) : Rig(logLevel, withParser), mLogLevel(logLevel) {
    State();
  }
  ~Player() override {
    close(mReader);
    if (!mNode.empty()) {
      std::filesystem::remove_all(mDirectory);
    }
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
      for (const std::string& entry : platform.TakeRecord()) {
        const std::string text = Replace(entry, testing::PrintToString(mInstance), "<it>");
        happened += shown && (entry[0] != '-' || mShowCalls) ? Shown(text) : "";
      }
      const std::string state = State();
      happened += shown ? state : "";
    }
    return happened;
  }

 private:
  int Perform(const std::string& line) {
    const std::string verb = line.substr(0, line.find(' '));
    mRest = line.substr(std::min(line.size(), verb.size() + 1));
    if (mTexts.contains(verb)) {
      *mTexts.at(verb) = mRest;
      return 0;
    }
    if (mNumbers.contains(verb)) {
      *mNumbers.at(verb) = std::stoi(mRest);
      return 0;
    }
    return mOthers.at(verb)();
  }

  int Add() {
    std::istringstream words(mRest);
    const std::istream_iterator<int64_t> first(words);
    return Send(NUVREL_WLC_CMD_ADD_LAPB_POLICY, {first, std::istream_iterator<int64_t>()});
  }

  // Messages separated by " / ", each behind the prefix, in place of those not read.
  int Say() {
    platform.messages.clear();
    std::string rest = mRest + " / ";
    for (size_t end = 0; (end = rest.find(" / ")) != std::string::npos; rest.erase(0, end + 3)) {
      platform.messages.push_back("<3>SVC-EVENT:" + rest.substr(0, end));
    }
    return 0;
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

  // Puts a file with text of 40 letters, a full device, a pipe or nothing in the node's place.
  int PlaceNode() {
    if (mNode.empty() && mkdtemp(mDirectory.data()) == nullptr) {
      return -1;
    }
    std::filesystem::remove(mNode);
    mLinkConfig->wlanUnitTestTargetNode = mDirectory;
    std::filesystem::create_directory(mDirectory + "/wlan0");
    mNode = mDirectory + "/wlan0/unit_test_target";
    if (mRest == "file") {
      std::ofstream(mNode) << std::string(40, 'x');
    } else if (mRest == "device") {
      std::filesystem::create_symlink("/dev/full", mNode);
    } else if (mRest == "pipe") {
      mkfifo(mNode.c_str(), S_IRUSR | S_IWUSR);
      mReader = open(mNode.c_str(), O_RDWR | O_CLOEXEC);
    }
    return 0;
  }

  int CreateInstance() {
    ServiceCreateParams params{&connection, &parser};
    CreateWirelessLinkConfigService(&mInstance, mRest.empty() ? &params : nullptr);
    return 0;
  }

  int ReleaseInstance() {
    return ReleaseWirelessLinkConfigService(
        mRest.empty()
            ? mInstance
            : reinterpret_cast<void*>(std::stoul(mRest)));  // NOLINT(performance-no-int-to-ptr)
  }

  int Log() {
    gNuvrelLogLevel = mLogLevel & static_cast<uint32_t>(std::stoi(mRest));
    mShowCalls = !mRest.ends_with("alone");
    return 0;
  }

  // "~" lines for what has changed since the last call.
  std::string State() {
    std::string holds = mServiceClient != nullptr ? " client" : "";
    holds += mWpaClient != nullptr ? " handle" : "";
    holds += mLinkConfig != nullptr ? " settings" : "";
    holds += mInitialized ? " ready" : "";
    holds += mLapbSupported ? " flows" : "";
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    std::string node = std::filesystem::is_character_file(mNode) ? "device" : "missing";
    if (std::filesystem::is_regular_file(mNode)) {
      std::getline(std::ifstream(mNode), node);
    }
    const std::map<std::string, std::string> now = {
        {"~ addresses ", mSelfIpAddress + " " + mPeerIpAddress},
        {"~ classes ", Pairs(mServiceIdMap)},
        {"~ descriptors ", std::to_string(std::distance(begin(descriptors), end(descriptors)))},
        {"~ holds ", holds},
        {"~ interface ", mInterfaceName},
        {"~ last reply ", mCmdReply},
        {"~ library ", Pairs(mLibLoader.*(&LoaderUnderTest::mRefCounts))},
        {"~ node ", node},
        {"~ path ", mWpaCtrlPath},
        {"~ policies ", Pairs(mLapbPolicies)},
        {"~ target ", mUnitTestTargetValue},
        {"~ unread ", platform.messages.empty() ? "" : std::to_string(platform.messages.size())}};
    std::string changed;
    for (const auto& [name, text] : now) {
      changed += mState[name] == text ? "" : Shown(name + text);
    }
    mState = now;
    mState["~ unread "] = "";  // said as long as there are some
    return changed;
  }

  const uint32_t mLogLevel;
  bool mShowCalls = true;
  std::string mDirectory = testing::TempDir() + "wlc_node_XXXXXX";
  std::string mNode;
  int mReader = -1;
  void* mInstance = this;
  std::map<std::string, std::string> mState;

  // What a line may begin with; the rest of it is mRest.
  std::string mRest;
  const std::map<std::string, std::string*> mTexts = {
      {"interface", &platform.interface}, {"self", &platform.self},     {"peer", &platform.peer},
      {"reply", &platform.reply},         {"refuse", &platform.refuse}, {"path", &mWpaCtrlPath}};
  const std::map<std::string, int32_t*> mNumbers = {
      {"client", &platform.client},           {"handle", &platform.handle},
      {"network", &platform.network},         {"open", &platform.open},
      {"fail-write", &platform.failingWrite}, {"with", &platform.writeError},
      {"write-limit", &platform.writeLimit},  {"connection", &connection.result}};
  unsigned char mId = 0;
  const std::map<std::string, std::function<int()>> mOthers = {
      {"log", [this] { return Log(); }},
      {"say", [this] { return Say(); }},
      {"node", [this] { return PlaceNode(); }},
      {"text", [this] { return Set(parser.mStrings); }},
      {"number", [this] { return Set(parser.mIntegers); }},
      {"forget-settings", [this] { return parser.mStrings.clear(), parser.mIntegers.clear(), 0; }},
      {"old-settings", [this] { return mLinkConfig = std::make_unique<LinkConfiguration>(), 0; }},
      {"create", [this] { return CreateInstance(); }},
      {"release", [this] { return ReleaseInstance(); }},
      {"packet", [this] { return Send(std::stoi(mRest)); }},
      {"init", [this] { return Send(NUVREL_WLC_CMD_INIT); }},
      {"flows", [this] { return Send(NUVREL_WLC_CMD_INIT_LAPB_FLOW); }},
      {"deinit", [this] { return Send(NUVREL_WLC_CMD_DEINIT); }},
      {"apply", [this] { return Send(NUVREL_WLC_CMD_APPLY_LINK_SETTINGS); }},
      {"revert", [this] { return Send(NUVREL_WLC_CMD_REVERT_LINK_SETTINGS); }},
      {"add", [this] { return Add(); }},
      {"clear", [this] { return Send(NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES); }},
      {"load", [this] { return LoadConfig(), 0; }},
      {"sysfs", [this] { return errno = EBADF, ApplySysfsLinkConfiguration(); }},
      {"revert-sysfs", [this] { return RevertSysfsLinkConfiguration(); }},
      {"apply-commands", [this] { return ApplyWpaCliLinkConfiguration(); }},
      {"revert-commands", [this] { return RevertWpaCliLinkConfiguration(); }},
      {"delete", [this] { return DeleteLAPBFlowPolicy(std::stoi(mRest)); }},
      {"update-map", [this] { return UpdateServiceIDMap(); }},
      {"create-class", [this] { return CreateServiceClass(1, 2, 3, &mId) + mId; }}};
};
