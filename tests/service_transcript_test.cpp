// Plays the transcripts in TRANSCRIPTS, each a file of sessions, and compares what happens with
// what they say. A session is a fresh service; its lines are
//   ## title                begins a session; other # are comments
//   $ init | refuse MASK    does what stands behind each |, then the command (by packet where there
//                           is one), without showing what comes of it
//   > add 5000 0 0 20 = 0   does the same and shows the command's result; then
//   -> ... and W ...        what it asked of the platform and logged (scripted_platform.h), and
//   ~ path /wlan0           what of the service's state has changed, with ; between the parts
// In all of them {x*3} stands for xxx, \n and \t for the characters; lines are cut at 900.
//
// Each session is played at its own log mask ("$ log 3", all levels unless said; "$ log 3 alone"
// leaves out what is asked of the platform) and once more for each level alone, when the lines of
// the other levels must be missing.
#include <regex>

#include "tests/service_player.h"

namespace {

// The sessions of a file by title, with "{x*3}" written out, and without comments and blank lines.
std::vector<std::pair<std::string, std::string>> SessionsIn(const std::filesystem::path& file) {
  const std::regex repeated(R"(\{([^{]+?)\*(\d+)\})");
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

TEST(Service, DoesAsItsTranscriptsSay) {
  for (const auto& file : std::filesystem::directory_iterator(TRANSCRIPTS)) {
    const auto sessions = SessionsIn(file);
    EXPECT_FALSE(sessions.empty());
    for (const auto& [title, session] : sessions) {
      SCOPED_TRACE(title);
      EXPECT_EQ(Player(15).Play(session), session);
      for (uint32_t bit = 0; bit < 4 && !HasFailure(); ++bit) {
        EXPECT_EQ(Player(1U << bit).Play(session), OnlyLevel("EWID"[bit], session));
      }
    }
  }
}

}  // namespace
