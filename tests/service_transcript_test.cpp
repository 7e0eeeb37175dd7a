// Plays the transcripts in TRANSCRIPTS and compares what happens with what they say; the signs are
// told at the head of each. A line that ends with a backslash goes on in the next one, whose
// leading blanks do not count; \n and \t stand for the characters; lines are compared up to 900
// characters.
//
// Each session is played with every level, and once more for each level alone, when the lines of
// the other levels must be missing.
#include <dlfcn.h>
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

namespace {

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// A line as transcripts write it.
std::string Shown(const std::string& line) {
  return Replace(Replace(line, "\n", "\\n"), "\t", "\\t").substr(0, 900) + "\n";
}

int gPipe[2];
const int gPipeError = pipe2(gPipe, O_CLOEXEC);

// Plays a session on a service of its own.
class Player : Rig {
 public:
  explicit Player(uint32_t logLevel) : Rig(logLevel), mLogLevel(logLevel) { State(); }
  ~Player() override { std::filesystem::remove_all(mDirectory); }

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
    setUps.ignore(sizeof(" when ") - 1);
    for (std::string setUp; std::getline(setUps, setUp);) {
      PerformOne(Replace(Replace(setUp, "\\n", "\n"), "\\t", "\t"));
    }
    return PerformOne(line.substr(0, when));
  }

  int PerformOne(const std::string& step) {
    const std::string verb = step.substr(0, step.find(' '));
    mRest = step.substr(std::min(step.size(), verb.size() + 1));
    if (mTexts.contains(verb)) {
      return *mTexts.at(verb) = mRest, 0;
    }
    if (mNumbers.contains(verb)) {
      return *mNumbers.at(verb) = std::stoi(mRest);
    }
    if (mPackets.contains(verb)) {
      std::istringstream words(mRest);
      const std::istream_iterator<int64_t> first(words);
      return Send(mPackets.at(verb), {first, std::istream_iterator<int64_t>()});
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
      std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(gPipe[1]), mNode);
    }
    return 0;
  }

  // The levels by their letters, and "calls".
  int Show() {
    gNuvrelLogLevel = 0;
    for (const char letter : mRest) {
      const size_t bit = std::string("EWID").find(letter);
      gNuvrelLogLevel |= bit < 4 ? mLogLevel & 1U << bit : 0;
    }
    return mShowCalls = mRest.starts_with("calls");
  }

  // The lines for what was asked of the platform and logged.
  std::string Record() {
    std::string shown;
    for (const std::string& entry : platform.TakeRecord()) {
      const std::string text = Replace(entry, testing::PrintToString(mInstance), "<it>");
      shown += entry[0] != '-' || mShowCalls ? Shown(Replace(text, CLIENT_LIBRARIES, "#")) : "";
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
    std::getline(std::ifstream(std::filesystem::is_regular_file(mNode) ? mNode : ""), node);
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
  void* mInstance = this;
  std::shared_ptr<void> mLibrary;
  std::map<std::string, std::string> mState;

  // What a step may begin with; the rest of it is mRest.
  std::string mRest;
  const std::map<std::string, std::string*> mTexts = {{"interface-name", &platform.interface},
                                                      {"self-address", &platform.self},
                                                      {"peer-address", &platform.peer},
                                                      {"answer", &platform.reply},
                                                      {"refuse", &platform.refuse}};
  const std::map<std::string, int32_t*> mNumbers = {
      {"network-result", &platform.network},  {"open-result", &platform.open},
      {"fail-write", &platform.failingWrite}, {"write-error", &platform.writeError},
      {"write-limit", &platform.writeLimit},  {"connection-result", &sendResult}};
  const std::map<std::string, int> mPackets = {
      {"command-0", 0}, {"init", 1}, {"flows", 2}, {"deinit", 3},    {"apply", 4},
      {"revert", 5},    {"add", 6},  {"clear", 7}, {"command-8", 8}, {"command-255", 255}};
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
      {"library",
       [this] {
         // Found first for as long as it is loaded.
         const std::string file = CLIENT_LIBRARIES "_" + mRest + "/" + kClientLibrary;
         return mLibrary.reset(dlopen(file.c_str(), RTLD_LAZY), dlclose), 0;
       }},
      {"no-library", [this] { return mLibrary.reset(), 0; }},

      {"open-library", [this] { return mLibLoader.OpenLib(kClientLibrary) != nullptr; }},
      {"close-library", [this] { return mLibLoader.CloseLibHandle(kClientLibrary), 0; }},
      {"is-mapped",
       [] {
         void* handle = dlopen(kClientLibrary, RTLD_LAZY | RTLD_NOLOAD);
         return handle != nullptr && dlclose(handle) == 0;
       }},
      {"create",
       [this] {
         ServiceCreateParams params{nullptr, &parser};
         void* given = mRest.empty() ? &params : nullptr;
         return CreateWirelessLinkConfigService(&mInstance, given), 0;
       }},
      {"release",
       [this] {
         void* service = mInstance;
         std::sscanf(mRest.c_str(), "%p", &service);  // another address, if there is one
         return ReleaseWirelessLinkConfigService(service);
       }},
      {"apply-sysfs", [this] { return errno = EBADF, ApplySysfsLinkConfiguration(); }},
      {"apply-commands", [this] { return ApplyWpaCliLinkConfiguration(); }},
      {"revert-commands", [this] { return RevertWpaCliLinkConfiguration(); }},
      {"delete", [this] { return DeleteLAPBFlowPolicy(std::stoi(mRest)); }},
      {"update-map", [this] { return UpdateServiceIDMap(); }},
      {"no-packet", [this] { return OnPacket(nullptr); }},
      {"no-connection",
       [this] {
         NuvrelPkt_t request = Request(NUVREL_WLC_CMD_DEINIT, nullptr);
         return OnPacket(&request);
       }},
      {"no-reply", [this] { return SendStatus(nullptr, NUVREL_WLC_CMD_INIT, 0), 0; }},
      {"other-slots", [this] { return OnConnectionLost(), Reserved0() + Reserved1(); }},
      {"command-length", [this] { return 1 + std::string(mCmdBuf, 512).find_last_not_of('\0'); }},
      {"create-class", [this] {
         unsigned char id = 0;
         const int result = CreateServiceClass(1, 2, 3, &id);
         return result + id;
       }}};
};

// The sessions of a file by title, with "{x*3}" written out, and without comments and blank lines.
std::vector<std::pair<std::string, std::string>> SessionsIn(const std::filesystem::path& file) {
  const std::regex repeated(R"(\{([^{]+?)\*(\d+)\})");
  std::vector<std::pair<std::string, std::string>> sessions;
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    for (std::string more; line.ends_with('\\') && std::getline(lines >> std::ws, more);) {
      line.replace(line.size() - 1, 1, more);
    }
    for (std::smatch found; std::regex_search(line, found, repeated);) {
      std::string text = found.prefix();
      for (int left = std::stoi(found[2]); left > 0; --left) {
        text += found[1];
      }
      line = text.append(found.suffix());
    }
    if (line.starts_with("## ")) {
      sessions.emplace_back(line, "");
    } else if (!line.empty() && line[0] != '#') {
      const bool played = line[0] == '>' || line.starts_with("given ");
      sessions.back().second += played ? line + "\n" : Shown(line);
    }
  }
  return sessions;
}

TEST(Service, DoesAsItsTranscriptsSay) {
  for (const auto& file : std::filesystem::directory_iterator(TRANSCRIPTS)) {
    const auto sessions = SessionsIn(file);
    EXPECT_FALSE(sessions.empty());
    for (const auto& [title, session] : sessions) {
      SCOPED_TRACE(title);
      EXPECT_EQ(Player(15).Play(session), session);
      for (uint32_t bit = 0; bit < 4 && !HasFailure(); ++bit) {
        const std::regex others("\n[" + std::string("EWID").erase(bit, 1) + "][^\n]*");
        EXPECT_EQ(Player(1U << bit).Play(session), std::regex_replace(session, others, ""));
      }
    }
  }
}

}  // namespace
