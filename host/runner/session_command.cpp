#include "host/runner/session_command.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace host {
namespace {

constexpr ParameterForm kPolicyParameters[] = {
    {"PORT", "port", std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()},
    {"SPL_TOS", "special ToS", 0, 255},
    {"DEF_TOS", "default ToS", 0, 255},
    {"LATENCY", "latency", 0, std::numeric_limits<uint32_t>::max()},
};

constexpr CommandForm kCommands[] = {
    {"init", NUVREL_WLC_CMD_INIT, {}, "find the interface, load the settings, open the driver"},
    {"init-lapb-flow", NUVREL_WLC_CMD_INIT_LAPB_FLOW, {}, "learn addresses and service classes"},
    {"deinit", NUVREL_WLC_CMD_DEINIT, {}, "remove the policies, give everything back"},
    {"apply-link-settings", NUVREL_WLC_CMD_APPLY_LINK_SETTINGS, {}, "put the link into XR mode"},
    {"revert-link-settings", NUVREL_WLC_CMD_REVERT_LINK_SETTINGS, {}, "put it back to normal"},
    {"add-lapb-policy", NUVREL_WLC_CMD_ADD_LAPB_POLICY, kPolicyParameters,
     "bind a UDP port to a service class"},
    {"clear-lapb-policies", NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES, {}, "remove every policy"},
};

constexpr ParameterForm kSleepParameter = {"MS", "milliseconds", 0, 3'600'000};
constexpr ParameterForm kRepeatParameter = {"N", "times", 1, 1'000'000};

// Reads words from left to right and keeps what went wrong first.
class StepParser {
 public:
  StepParser(std::span<const std::string> words, std::string& error)
      : mWords(words), mError(error) {}

  bool AtEnd() const { return mNext == mWords.size(); }

  bool ParseStep(Step& step) {
    std::string word = mWords[mNext++];
    if (word == "repeat") {
      int64_t times = 0;
      if (!ParseNumber(word, kRepeatParameter, times)) {
        return false;
      }
      step.times = static_cast<uint32_t>(times);
      if (AtEnd()) {
        return Fail("repeat: a command must follow the number");
      }
      word = mWords[mNext++];
    }
    return word == "sleep" ? ParseSleep(step) : ParseCommand(word, step);
  }

 private:
  bool ParseSleep(Step& step) {
    int64_t pause = 0;
    if (!ParseNumber("sleep", kSleepParameter, pause)) {
      return false;
    }
    step.pause = std::chrono::milliseconds(pause);
    return true;
  }

  bool ParseCommand(const std::string& word, Step& step) {
    for (const CommandForm& form : kCommands) {
      if (word != form.name) {
        continue;
      }
      Command command{.form = &form};
      for (size_t i = 0; i < form.parameters.size(); ++i) {
        if (!ParseNumber(word, form.parameters[i], command.values[i])) {
          return false;
        }
      }
      step.command = command;
      return true;
    }
    std::string known;
    for (const CommandForm& form : kCommands) {
      known += std::string(form.name) + ", ";
    }
    return Fail("\"" + word + "\" is not a command; there are " + known + "sleep, repeat");
  }

  bool ParseNumber(const std::string& command, const ParameterForm& form, int64_t& value) {
    const std::string range = std::string(form.usage) + " (" + form.name + ", " +
                              std::to_string(form.min) + " to " + std::to_string(form.max) + ")";
    if (AtEnd()) {
      return Fail(command + ": " + range + " is missing");
    }
    const std::string& word = mWords[mNext++];
    const char* end = word.data() + word.size();
    const auto [stop, result] = std::from_chars(word.data(), end, value);
    if (stop != end || result == std::errc::invalid_argument) {
      return Fail(command + ": \"" + word + "\" is not a decimal number for " + range);
    }
    if (result != std::errc() || value < form.min || value > form.max) {
      return Fail(command + ": " + word + " is out of range for " + range);
    }
    return true;
  }

  bool Fail(std::string message) {
    mError = std::move(message);
    return false;
  }

  std::span<const std::string> mWords;
  size_t mNext = 0;
  std::string& mError;
};

}  // namespace

std::span<const CommandForm> AllCommands() { return kCommands; }

std::string Command::Text() const {
  std::string text = form->name;
  for (size_t i = 0; i < form->parameters.size(); ++i) {
    text += " " + std::to_string(values[i]);
  }
  return text;
}

bool ParseSteps(std::span<const std::string> words, std::vector<Step>& steps, std::string& error) {
  StepParser parser(words, error);
  while (!parser.AtEnd()) {
    if (!parser.ParseStep(steps.emplace_back())) {
      return false;
    }
  }
  return true;
}

std::vector<std::string> SplitWords(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  std::vector<std::string> words;
  for (size_t begin = text.find_first_not_of(kBlanks); begin != std::string_view::npos;) {
    const size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
    words.emplace_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(kBlanks, end);
  }
  return words;
}

}  // namespace host
