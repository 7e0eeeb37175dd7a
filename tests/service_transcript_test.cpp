// Plays the transcripts in TRANSCRIPTS, each a file of sessions, and compares what happens with
// what they say. A session is a fresh service; its lines are
//   ## title           begins a session; other lines with # are comments
//   $ refuse MASK      scripts the platform, or runs a command without showing what it does
//   > add 5000 0 0 20  runs a command, by packet where there is one; behind it stand
//   -> ... and W ...   what it asked of the platform and logged, in order (scripted_platform.h),
//   ~ classes 20:3     what the service holds where that has changed,
//   = 0                and its result.
// In all of them {x*3} stands for xxx, \n and \t for the characters; lines are cut at 900.
//
// Each session is played at its own log mask ("$ log 3", all levels unless said) and once more for
// each level alone, when the lines of the other levels must be missing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <sstream>

#include "tests/service_rig.h"

namespace {

const std::string kKeys = "nuvrel.services.wirelesslinkconfig.";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string Shown(const std::string& line) {
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
  explicit Player(uint32_t logLevel) : Rig(logLevel), mLogLevel(logLevel) { State(); }
  ~Player() {
    close(mReader);
    if (!mNode.empty()) {
      std::filesystem::remove_all(mDirectory);
    }
  }

  // Performs the "$" and ">" lines of a session and returns all of it as it happened.
  std::string Play(const std::string& session);

 private:
  int Perform(const std::string& line);
  int Say(const std::string& messages);
  int TakeAllIds();
  int NoParser();
  int PlaceNode(const std::string& kind);
  // "~" lines for what has changed since the last call.
  std::string State();

  const uint32_t mLogLevel;
  bool mShowCalls = true;
  std::string mDirectory = testing::TempDir() + "wlc_node_XXXXXX";
  std::string mNode;
  int mReader = -1;
  std::map<std::string, std::string> mState;
};

std::string Player::Play(const std::string& session) {
  std::string happened;
  std::istringstream lines(session);
  for (std::string line; std::getline(lines, line);) {
    if (line[0] != '>' && line[0] != '$') {
      continue;
    }
    const int result = Perform(Replace(Replace(line.substr(2), "\\n", "\n"), "\\t", "\t"));
    happened += line + "\n";
    const auto record = platform.TakeRecord();
    const std::string state = State();
    if (line[0] == '>') {
      for (const std::string& entry : record) {
        happened += entry[0] != '-' || mShowCalls ? Shown(entry) : "";
      }
      happened += state + "= " + std::to_string(result) + "\n";
    }
  }
  return happened;
}

int Player::Perform(const std::string& line) {
  std::istringstream words(line);
  std::string verb;
  std::string key;
  words >> verb;
  const std::string rest = line.substr(std::min(line.size(), verb.size() + 1));
  const std::vector<std::string> packets = {"",      "init",   "flows", "deinit",
                                            "apply", "revert", "add",   "clear"};
  const auto packet = std::find(packets.begin(), packets.end(), verb);
  if (packet != packets.end()) {
    std::vector<uint32_t> parameters;
    for (int64_t value = 0; words >> value;) {
      parameters.push_back(static_cast<uint32_t>(value));
    }
    return Send(static_cast<uint8_t>(packet - packets.begin()), parameters);
  }
  const std::map<std::string, std::string*> texts = {
      {"interface", &platform.interface}, {"self", &platform.self},
      {"peer", &platform.peer},           {"reply", &platform.reply},
      {"refuse", &platform.refuse},       {"path", &service.mWpaCtrlPath}};
  if (texts.contains(verb)) {
    *texts.at(verb) = rest;
    return 0;
  }
  const std::map<std::string, int32_t*> numbers = {
      {"client", &platform.client},           {"handle", &platform.handle},
      {"network", &platform.network},         {"open", &platform.open},
      {"fail-write", &platform.failingWrite}, {"with", &platform.writeError},
      {"write-limit", &platform.writeLimit},  {"connection", &connection.result}};
  if (numbers.contains(verb)) {
    *numbers.at(verb) = std::stoi(rest);
    return 0;
  }
  unsigned char id = 0;
  const std::map<std::string, std::function<int()>> others = {
      {"log",
       [&] { return gNuvrelLogLevel = mLogLevel & static_cast<uint32_t>(std::stoi(rest)), 0; }},
      {"calls", [&] { return mShowCalls = rest == "shown", 0; }},
      {"say", [&] { return Say(rest); }},
      {"say-anew", [&] { return platform.messages.clear(), Say(rest); }},
      {"node", [&] { return PlaceNode(rest); }},
      {"text", [&] { return words >> key >> parser.mStrings[kKeys + key], 0; }},
      {"number", [&] { return words >> key >> parser.mIntegers[kKeys + key], 0; }},
      {"forget-settings", [&] { return parser.mStrings.clear(), parser.mIntegers.clear(), 0; }},
      {"no-parser", [&] { return NoParser(); }},
      {"load", [&] { return service.LoadConfig(), 0; }},
      {"sysfs", [&] { return service.ApplySysfsLinkConfiguration(); }},
      {"delete", [&] { return service.DeleteLAPBFlowPolicy(std::stoi(rest)); }},
      {"update-map", [&] { return service.UpdateServiceIDMap(); }},
      {"create-class", [&] { return service.CreateServiceClass(1, 2, 3, &id) < 0 ? -1 : id; }},
      {"take-all-ids", [&] { return TakeAllIds(); }},
      {"packet", [&] { return Send(static_cast<uint8_t>(std::stoi(rest))); }},
  };
  return others.at(verb)();
}

// Messages separated by " / ", each behind the prefix.
int Player::Say(const std::string& messages) {
  static const std::regex kSeparator(" / ");
  std::sregex_token_iterator message(messages.begin(), messages.end(), kSeparator, -1);
  for (const std::sregex_token_iterator end; message != end; ++message) {
    platform.messages.push_back("<3>SVC-EVENT:" + message->str());
  }
  return 0;
}

int Player::TakeAllIds() {
  for (uint8_t id = 0; id < 32; ++id) {
    service.mServiceIdMap[1000U + id] = id;
  }
  return 0;
}

// Another service in this one's place: one without a parser, but with settings.
int Player::NoParser() {
  std::destroy_at(&service);
  std::construct_at(&service, nullptr, nullptr);
  service.mLinkConfig = std::make_unique<LinkConfiguration>();
  return 0;
}

// Puts a file with text of 40 letters, a full device, a pipe or nothing in the node's place.
int Player::PlaceNode(const std::string& kind) {
  if (mNode.empty() && mkdtemp(mDirectory.data()) == nullptr) {
    return -1;
  }
  std::filesystem::remove(mNode);
  service.mLinkConfig->wlanUnitTestTargetNode = mDirectory;
  std::filesystem::create_directory(mDirectory + "/wlan0");
  mNode = mDirectory + "/wlan0/unit_test_target";
  if (kind == "file") {
    std::ofstream(mNode) << std::string(40, 'x');
  } else if (kind == "device") {
    std::filesystem::create_symlink("/dev/full", mNode);
  } else if (kind == "pipe") {
    mkfifo(mNode.c_str(), S_IRUSR | S_IWUSR);
    mReader = open(mNode.c_str(), O_RDWR | O_CLOEXEC);
  }
  return 0;
}

std::string Player::State() {
  std::string holds = service.mServiceClient != nullptr ? " client" : "";
  holds += service.mWpaClient != nullptr ? " handle" : "";
  holds += service.mLinkConfig != nullptr ? " settings" : "";
  holds += service.mInitialized ? " ready" : "";
  holds += service.mLapbSupported ? " flows" : "";
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  std::string node = std::filesystem::is_character_file(mNode) ? "device" : "missing";
  if (std::filesystem::is_regular_file(mNode)) {
    std::getline(std::ifstream(mNode), node);
  }
  const std::map<std::string, std::string> now = {
      {"~ addresses ", service.mSelfIpAddress + " " + service.mPeerIpAddress},
      {"~ classes ", Pairs(service.mServiceIdMap)},
      {"~ descriptors ", std::to_string(std::distance(begin(descriptors), end(descriptors)))},
      {"~ holds ", holds},
      {"~ interface ", service.mInterfaceName},
      {"~ last reply ", service.mCmdReply},
      {"~ library ", Pairs(service.mLibLoader.*(&LoaderUnderTest::mRefCounts))},
      {"~ node ", node},
      {"~ path ", service.mWpaCtrlPath},
      {"~ policies ", Pairs(service.mLapbPolicies)},
      {"~ target ", service.mUnitTestTargetValue},
      {"~ unread ", std::to_string(platform.messages.size())}};
  std::string changed;
  for (const auto& [name, text] : now) {
    changed += mState[name] == text ? "" : Shown(name + text);
  }
  mState = now;
  return changed;
}

// The sessions of a file by title, with "{x*3}" written out, and without comments and blank lines.
std::vector<std::pair<std::string, std::string>> SessionsIn(const std::filesystem::path& file) {
  const std::regex repeated(R"(\{(.+?)\*(\d+)\})");
  std::vector<std::pair<std::string, std::string>> sessions;
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
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
      const bool played = line[0] == '$' || line[0] == '>';
      sessions.back().second += played ? line + "\n" : Shown(line);
    }
  }
  return sessions;
}

// The session as it reads when only lines of the level `letter` are logged.
std::string OnlyLevel(char letter, const std::string& session) {
  std::string kept;
  std::istringstream lines(session);
  for (std::string line; std::getline(lines, line);) {
    const bool logged = std::string("EWID").find(line[0]) != std::string::npos;
    kept += !logged || line[0] == letter ? line + "\n" : "";
  }
  return kept;
}

class TranscriptTest : public testing::TestWithParam<std::string> {};

TEST_P(TranscriptTest, HappensAsWritten) {
  const auto sessions = SessionsIn(TRANSCRIPTS "/" + GetParam() + ".txt");
  EXPECT_FALSE(sessions.empty());
  for (const auto& [title, session] : sessions) {
    SCOPED_TRACE(title);
    EXPECT_EQ(Player(15).Play(session), session);
    for (uint32_t bit = 0; bit < 4 && !HasFailure(); ++bit) {
      EXPECT_EQ(Player(1U << bit).Play(session), OnlyLevel("EWID"[bit], session));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Service, TranscriptTest,
                         testing::Values("discovery", "lifecycle", "policies", "settings",
                                         "sysfs"));

}  // namespace
