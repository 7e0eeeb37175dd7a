#include "host/runner/script.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <string_view>

namespace host {
namespace {

constexpr size_t kLineLimit = 4096;

}  // namespace

std::vector<Step> BuiltInSession() {
  const std::vector<std::string> words = SplitWords(
      "init init-lapb-flow apply-link-settings add-lapb-policy 5000 160 184 20 "
      "add-lapb-policy 5002 160 184 30 add-lapb-policy 5000 160 184 30 clear-lapb-policies "
      "revert-link-settings deinit");
  std::vector<Step> steps;
  std::string ignored;
  ParseSteps(words, steps, ignored);
  return steps;
}

ScriptReader::Result ScriptReader::Next(Step& step, std::string& error) {
  std::array<char, kLineLimit> line{};
  while (mInput.getline(line.data(), line.size()) || mInput.gcount() > 0) {
    const std::string where = mName + ":" + std::to_string(++mLine) + ": ";
    if (mInput.fail()) {
      mInput.clear();
      mInput.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      error = where + "the line is longer than " + std::to_string(kLineLimit - 1) + " bytes";
      return Result::kError;
    }
    const std::string_view text(line.data());
    const std::vector<std::string> words = SplitWords(text.substr(0, text.find('#')));
    if (words.empty()) {
      continue;
    }
    std::vector<Step> steps;
    if (!ParseSteps(words, steps, error)) {
      error.insert(0, where);
      return Result::kError;
    }
    if (steps.size() != 1) {
      error = where + "there is more than one command on the line";
      return Result::kError;
    }
    step = steps.front();
    return Result::kStep;
  }
  return Result::kEnd;
}

bool ReadScriptFile(const std::string& file, std::vector<Step>& steps, std::string& error) {
  std::ifstream input(file);
  if (!input || input.peek() == std::ifstream::traits_type::eof()) {
    // A directory opens, but cannot be read; an empty file is as useless as none.
    error = "cannot read the script " + file + ": " +
            (errno != 0 && !input.eof() ? std::strerror(errno) : "it is empty or not a file");
    return false;
  }
  ScriptReader reader(input, file);
  while (true) {
    Step step;
    switch (reader.Next(step, error)) {
      case ScriptReader::Result::kStep:
        steps.push_back(step);
        break;
      case ScriptReader::Result::kError:
        return false;
      case ScriptReader::Result::kEnd:
        return true;
    }
  }
}

bool ParseCommandLine(std::span<const std::string> words, std::vector<Step>& steps,
                      std::string& error) {
  std::vector<std::string> split;
  for (const std::string& word : words) {
    for (std::string& part : SplitWords(word)) {
      split.push_back(std::move(part));
    }
  }
  return ParseSteps(split, steps, error);
}

}  // namespace host
