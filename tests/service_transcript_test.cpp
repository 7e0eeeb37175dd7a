// Plays the transcripts in TRANSCRIPTS and compares what happens with what they say; the signs are
// told at the head of each. A line that ends with a backslash goes on in the next one, whose
// leading blanks do not count; \n and \t stand for the characters; lines are compared up to 900
// characters.
//
// Each session is played with every level, and once more for each level alone, when the lines of
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
