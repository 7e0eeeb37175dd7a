#include "wlc/steps.h"

#include <charconv>
#include <cstring>
#include <iomanip>
#include <sstream>

#include "emulated_driver/refusal.h"

namespace {

constexpr ParameterForm kPolicyParameters[] = {
    {"PORT", "port", INT32_MIN, INT32_MAX},
    {"SPL_TOS", "special ToS", 0, 255},
    {"DEF_TOS", "default ToS", 0, 255},
    {"LATENCY", "latency", 0, UINT32_MAX},
};

constexpr ParameterForm kSleepParameters[] = {{"MS", "milliseconds", 0, 3'600'000}};

constexpr CommandForm kCommands[] = {
    {"init", NUVREL_WLC_CMD_INIT, {}, "find the interface, load the settings, open the driver"},
    {"init-lapb-flow", NUVREL_WLC_CMD_INIT_LAPB_FLOW, {}, "learn addresses and service classes"},
    {"deinit", NUVREL_WLC_CMD_DEINIT, {}, "remove the policies, give everything back"},
    {"apply-link-settings", NUVREL_WLC_CMD_APPLY_LINK_SETTINGS, {}, "put the link into XR mode"},
    {"revert-link-settings", NUVREL_WLC_CMD_REVERT_LINK_SETTINGS, {}, "put it back to normal"},
    {"add-lapb-policy", NUVREL_WLC_CMD_ADD_LAPB_POLICY, kPolicyParameters,
     "bind a port to a service class"},
    {"clear-lapb-policies", NUVREL_WLC_CMD_CLEAR_LAPB_POLICIES, {}, "remove every policy"},
    {"sleep", kSleep, kSleepParameters, "wait"},
};

constexpr ParameterForm kRepeatParameter = {"N", "times", 1, 1'000'000};

int64_t ParseNumber(std::istream& words, std::string_view command, const ParameterForm& form) {
  std::string word;
  words >> word;
  int64_t value = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  if (stop != end || error != std::errc() || value < form.min || value > form.max) {
    throw Refusal("{}: {} ({}) must be a decimal number from {} to {}{}", command, form.usage,
                  form.name, form.min, form.max,
                  word.empty() ? "; it is missing" : ", not \"" + word + '"');
  }
  return value;
}

Command ParseCommand(std::istream& words, std::string_view name) {
  std::string known;
  for (const CommandForm& form : kCommands) {
    if (form.name == name) {
      Command command{.form = &form};
      for (size_t i = 0; i < form.parameters.size(); ++i) {
        command.values[i] = ParseNumber(words, name, form.parameters[i]);
      }
      return command;
    }
    known.append(form.name).append(", ");
  }
  throw Refusal("\"{}\" is not a command; there are {}repeat, expect", name, known);
}

}  // namespace

std::span<const CommandForm> AllCommands() { return kCommands; }

std::string Command::Text() const {
  std::string text(form->name);
  for (size_t i = 0; i < form->parameters.size(); ++i) {
    text += fmt::format(" {}", values[i]);
  }
  return text;
}

NuvrelPkt_t Command::Packet() const {
  NuvrelPkt_t request{};
  request.payload[0] = static_cast<uint8_t>(form->value);
  request.payloadLen = 1;
  for (size_t i = 0; i < form->parameters.size(); ++i) {
    // A signed and an unsigned parameter have the same 32 bits on the wire.
    const auto bits = static_cast<uint32_t>(values[i]);
    std::memcpy(request.payload + request.payloadLen, &bits, sizeof(bits));
    request.payloadLen += sizeof(bits);
  }
  return request;
}

std::vector<Step> ParseSteps(std::string_view line) {
  std::istringstream words{std::string(line.substr(0, line.find('#')))};
  std::vector<Step> steps;
  for (std::string word; words >> word;) {
    Step step;
    if (word == "expect") {
      if (!(words >> step.expectation.key >> std::quoted(step.expectation.value))) {
        throw Refusal("expect: a key and its value must follow, such as status 0 or policies 1");
      }
      steps.push_back(step);
      continue;
    }
    if (word == "repeat") {
      step.times = static_cast<uint32_t>(ParseNumber(words, word, kRepeatParameter));
      if (!(words >> word) || word == "repeat" || word == "expect") {
        throw Refusal("repeat: a command must follow the number, not repeat or expect");
      }
    }
    step.command = ParseCommand(words, word);
    steps.push_back(step);
  }
  return steps;
}

bool ReadLine(std::istream& input, const std::string& name, unsigned line,
              std::vector<Step>& steps) {
  std::string text;
  if (!std::getline(input, text)) {
    return false;
  }
  try {
    for (Step& step : ParseSteps(text)) {
      step.expectation.where = fmt::format("{}:{}: ", name, line);
      steps.push_back(std::move(step));
    }
  } catch (const Refusal& refusal) {
    throw Refusal("{}:{}: {}", name, line, refusal.what());
  }
  return true;
}
