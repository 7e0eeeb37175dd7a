#include "tests/runner_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {
constexpr int kDeadlineMs = 60'000;
}  // namespace

Process::Process(const std::vector<std::string>& arguments) {
  int pipes[3][2];
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int i = 0; i < 3; ++i) {
    if (pipe2(pipes[i], O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    posix_spawn_file_actions_adddup2(&actions, pipes[i][i == 0 ? 0 : 1], i);
  }
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  if (posix_spawnp(&mId, words[0], &actions, nullptr, words.data(), environ) != 0) {
    throw std::runtime_error("cannot start " + arguments[0]);
  }
  posix_spawn_file_actions_destroy(&actions);
  mInput = pipes[0][1];
  close(pipes[0][0]);
  for (int i = 1; i < 3; ++i) {
    mOutputs[i - 1] = pipes[i][0];
    close(pipes[i][1]);
  }
}

Process::~Process() {
  if (mId > 0) {
    kill(mId, SIGKILL);
    waitpid(mId, nullptr, 0);
  }
  for (const int descriptor : {mInput, mOutputs[0], mOutputs[1]}) {
    close(descriptor);
  }
}

void Process::Write(const std::string& text) const {
  if (write(mInput, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("cannot write to the process");
  }
}

bool Process::ReadSome() {
  pollfd waiting[2] = {{mOutputs[0], POLLIN, 0}, {mOutputs[1], POLLIN, 0}};
  if (poll(waiting, 2, kDeadlineMs) <= 0) {
    return false;
  }
  bool open = false;
  for (int i = 0; i < 2; ++i) {
    char buffer[4096];
    const ssize_t length = waiting[i].revents == 0 ? -1 : read(mOutputs[i], buffer, sizeof(buffer));
    if (length > 0) {
      (i == 0 ? mOut : mError).append(buffer, static_cast<size_t>(length));
      open = true;
    } else if (length == 0) {
      close(mOutputs[i]);
      mOutputs[i] = -1;  // passed over by poll
    }
  }
  return open || mOutputs[0] >= 0 || mOutputs[1] >= 0;
}

bool Process::Await(const std::string& text) {
  while (mOut.find(text) == std::string::npos && mError.find(text) == std::string::npos) {
    if (!ReadSome()) {
      return false;
    }
  }
  return true;
}

void Process::Signal(int number) const { kill(mId, number); }

int Process::Finish() {
  close(mInput);
  mInput = -1;
  while (ReadSome()) {
  }
  if (mOutputs[0] >= 0 || mOutputs[1] >= 0) {
    return -1;  // hangs; the destructor kills it
  }
  int status = 0;
  waitpid(mId, &status, 0);
  mId = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Process Wlc(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), WLC_PROGRAM);
  if (*WLC_EMULATOR != '\0') {
    arguments.insert(arguments.begin(), WLC_EMULATOR);
  }
  return Process(arguments);
}

TestDirectory::TestDirectory() : mPath("/tmp/wlc-test-XXXXXX") {
  if (mkdtemp(mPath.data()) == nullptr) {
    throw std::runtime_error("no directory");
  }
}

TestDirectory::~TestDirectory() { std::filesystem::remove_all(mPath); }

std::string TestDirectory::File(const std::string& name, const std::string& content) const {
  const std::string path = mPath + "/" + name;
  std::ofstream(path) << content;
  return path;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> Labelled(const std::string& text, const std::string& label) {
  static const std::regex kTime(" +[0-9.]+ ms$");
  std::vector<std::string> found;
  for (const std::string& line : Lines(text)) {
    if (const size_t begin = line.find_first_not_of(' ');
        begin != std::string::npos && line.compare(begin, label.size() + 1, label + " ") == 0) {
      const size_t rest = line.find_first_not_of(' ', begin + label.size());
      found.push_back(std::regex_replace(line.substr(rest), kTime, ""));
    }
  }
  return found;
}

std::vector<std::string> LeftBehind(int process) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    if (entry.path().filename().string().starts_with("wpa_ctrl_" + std::to_string(process) + "-")) {
      files.push_back(entry.path());
    }
  }
  return files;
}
