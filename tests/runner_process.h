// Programs as a test runs them: wlc itself and those it meets.
//
//   Process wlc = Wlc({"run", "--script", "-"});
//   wlc.Write("init\n");
//   ASSERT_TRUE(wlc.Await("status   0"));     in what it has printed, within a minute
//   EXPECT_EQ(wlc.Finish(), 0);
#ifndef NUVREL_TESTS_RUNNER_PROCESS_H_
#define NUVREL_TESTS_RUNNER_PROCESS_H_

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using Words = std::vector<std::string>;

// Whether `condition` has come true within a minute.
inline bool ComesTrue(const std::function<bool()>& condition) {
  for (int i = 0; i < 6000 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

// A directory that goes with the test.
class TestDirectory {
 public:
  TestDirectory() { mPath = mkdtemp(mPath.data()); }
  ~TestDirectory() { std::filesystem::remove_all(mPath); }
  const std::string& Path() const { return mPath; }
  // Writes a file into it and returns its path.
  std::string File(const std::string& name, const std::string& content) const {
    std::ofstream(mPath + "/" + name) << content;
    return mPath + "/" + name;
  }
  std::string Content(const std::string& name) const {
    std::ifstream file(mPath + "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string mPath = "/tmp/wlc-test-XXXXXX";
};

class Process {
 public:
  explicit Process(const Words& arguments) {
    std::signal(SIGPIPE, SIG_IGN);  // writing to one that has ended fails, and that is all
    int input[2];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (pipe2(input, O_CLOEXEC) == 0) {
      posix_spawn_file_actions_adddup2(&actions, input[0], 0);
    }
    for (const auto& [descriptor, name] : {std::pair(1, "/out"), std::pair(2, "/error")}) {
      posix_spawn_file_actions_addopen(&actions, descriptor, (mFiles.Path() + name).c_str(),
                                       O_CREAT | O_WRONLY, 0600);
    }
    std::vector<char*> words;
    for (const std::string& argument : arguments) {
      words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    posix_spawnp(&mId, words[0], &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    mInput = input[1];
  }
  ~Process() {
    Kill();
    close(mInput);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  bool Write(const std::string& text) const {
    return write(mInput, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  bool Await(const std::string& text) const {
    return ComesTrue([&] { return (Out() + Error()).find(text) != std::string::npos; });
  }
  void Signal(int number) const { kill(mId, number); }
  void Kill() {
    if (!mEnded) {
      kill(mId, SIGKILL);
      waitpid(mId, nullptr, 0);
      mEnded = true;
    }
  }
  // Closes its input. Its exit status; -1 when it was killed or has not ended within a minute.
  int Finish() {
    close(std::exchange(mInput, -1));
    int status = -1;
    mEnded = ComesTrue([&] { return mEnded || (mEnded = waitpid(mId, &status, WNOHANG) == mId); });
    return mEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  int Id() const { return mId; }
  std::string Out() const { return mFiles.Content("out"); }
  std::string Error() const { return mFiles.Content("error"); }

 private:
  TestDirectory mFiles;
  pid_t mId = -1;
  int mInput = -1;
  bool mEnded = false;
};

// The wlc that was built, with these arguments.
inline Process Wlc(Words arguments) {
  arguments.insert(arguments.begin(), WLC_PROGRAM);
  if (*WLC_EMULATOR != '\0') {
    arguments.insert(arguments.begin(), WLC_EMULATOR);
  }
  return Process(arguments);
}

inline Words Lines(const std::string& text) {
  Words lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// What stands behind `label` in the lines of a session that begin with it, times left out.
inline Words Labelled(const std::string& session, const std::string& label) {
  Words found;
  for (const std::string& line : Lines(session)) {
    std::istringstream words(line);
    std::string first;
    std::string text;
    if (words >> first && first == label && std::getline(words >> std::ws, text)) {
      if (text.ends_with(" ms")) {
        text.resize(text.find_last_not_of(' ', text.rfind(' ', text.size() - 4)) + 1);
      }
      found.push_back(text);
    }
  }
  return found;
}

#endif  // NUVREL_TESTS_RUNNER_PROCESS_H_
