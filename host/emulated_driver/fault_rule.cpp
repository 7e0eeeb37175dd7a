#include "host/emulated_driver/fault_rule.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "host/emulated_driver/driver_model.h"

namespace host {
namespace {

constexpr std::string_view kEvents = "events";
constexpr uint32_t kMaxDelayMs = 3600 * 1000;
constexpr std::string_view kCommands[] = {"SET_LATENCY_MODE",
                                          "TSF_CONFIG",
                                          "TSF_SYNC_START",
                                          "TSF_SYNC_STOP",
                                          "SET_TX_RATEMASK",
                                          "SERVICE_CLASS_SHOW",
                                          "SERVICE_CLASS_ADD",
                                          "POLICY_ADD",
                                          "POLICY_UPDATE",
                                          "POLICY_DELETE",
                                          "PING",
                                          "ATTACH",
                                          "DETACH",
                                          "STATUS"};

struct ActionForm {
  std::string_view name;
  FaultAction action;
  bool forCommands;
  bool forEvents;
  bool hasValue;
};
constexpr ActionForm kActions[] = {
    {"fail", FaultAction::kFail, true, false, false},
    {"drop", FaultAction::kDrop, true, true, false},
    {"delay", FaultAction::kDelay, true, true, true},
    {"reply", FaultAction::kReply, true, false, true},
    {"garble", FaultAction::kGarble, false, true, true},
};

std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t max) {
  uint32_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value > max) {
    return std::nullopt;
  }
  return value;
}

std::string Unescape(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 1 < text.size();
    if (escape && text[i + 1] == 'n') {
      plain += '\n';
      ++i;
    } else if (escape && text[i + 1] == '\\') {
      plain += '\\';
      ++i;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

// Takes a closing @N or xN off `action` and sets the hits of `rule` by it; false for N outside 1 to
// 4294967295.
bool TakeTurn(std::string_view& action, FaultRule& rule) {
  const size_t mark = action.find_last_not_of("0123456789");
  if (mark == std::string_view::npos || mark + 1 == action.size() ||
      (action[mark] != '@' && action[mark] != 'x')) {
    return true;
  }
  const uint32_t turn = ParseNumber(action.substr(mark + 1), UINT32_MAX).value_or(0);
  rule.firstHit = action[mark] == '@' ? turn : 1;
  rule.lastHit = turn;
  action = action.substr(0, mark);
  return turn != 0;
}

// Reads "name" or "name=value" into `rule`; what is wrong with it, empty when nothing is.
std::string ParseAction(std::string_view action, FaultRule& rule) {
  const bool events = rule.scope == kEvents;
  const size_t equals = action.find('=');
  const std::string_view name = action.substr(0, equals);
  const auto* form = std::find_if(std::begin(kActions), std::end(kActions), [&](const auto& each) {
    return each.name == name && (events ? each.forEvents : each.forCommands);
  });
  if (form == std::end(kActions) || form->hasValue != (equals != std::string_view::npos)) {
    return "\"" + std::string(action) + "\" is no fault of " +
           (events ? "events: write drop, delay=MS or garble=NUMBER"
                   : "a command: write fail, drop, delay=MS or reply=TEXT");
  }
  rule.action = form->action;
  if (!form->hasValue) {
    return "";
  }
  const std::string_view value = action.substr(equals + 1);
  if (rule.action == FaultAction::kReply) {
    rule.reply = Unescape(value);
    return "";
  }
  const uint32_t max = rule.action == FaultAction::kDelay ? kMaxDelayMs : UINT32_MAX;
  const auto number = ParseNumber(value, max);
  if (!number) {
    return "\"" + std::string(value) + "\" is not a number from 0 to " + std::to_string(max);
  }
  rule.randomStart = *number;
  rule.delay = std::chrono::milliseconds(*number);
  return "";
}

std::string ParseScopeAndAction(std::string_view text, FaultRule& rule) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    return "there is no \":\": write COMMAND:FAULT or events:FAULT, such as POLICY_ADD:fail@2";
  }
  rule.scope = text.substr(0, colon);
  if (rule.scope != kEvents &&
      std::find(std::begin(kCommands), std::end(kCommands), rule.scope) == std::end(kCommands)) {
    std::string problem = "there is no command \"" + rule.scope + "\": write events or one of";
    for (const std::string_view command : kCommands) {
      problem.append(" ").append(command);
    }
    return problem;
  }
  std::string_view action = text.substr(colon + 1);
  if (!TakeTurn(action, rule)) {
    return "the number behind @ or x is to be from 1 to 4294967295";
  }
  return ParseAction(action, rule);
}

// The command's own word and the one behind it, without a leading "DRIVER".
std::vector<std::string_view> CommandWords(std::string_view command) {
  constexpr std::string_view kDriver = "DRIVER ";
  if (command.starts_with(kDriver)) {
    command.remove_prefix(kDriver.size());
  }
  const size_t blank = command.find(' ');
  if (blank == std::string_view::npos) {
    return {command};
  }
  const std::string_view rest = command.substr(blank + 1);
  return {command.substr(0, blank), rest.substr(0, rest.find(' '))};
}

// Changes about every eighth byte behind the prefix, and one at least; the prefix stays, for
// without it the message would not be taken for one. Never makes a NUL.
void Garble(std::string& event, std::mt19937& random) {
  const size_t begin = std::min(kEventPrefix.size(), event.size());
  const size_t length = event.size() - begin;
  for (size_t i = random() % std::clamp<size_t>(length, 1, 8); i < length; i += 1 + random() % 15) {
    char& byte = event[begin + i];
    // 1 to 254 steps on in the ring of the 255 bytes that are not NUL: always another byte.
    const auto stepped = static_cast<unsigned char>(byte) + random() % 254;
    byte = static_cast<char>(1 + stepped % 255);
  }
}

}  // namespace

std::optional<FaultRule> ParseFaultRule(std::string_view text, std::string* error) {
  FaultRule rule;
  rule.text = text;
  const std::string problem = ParseScopeAndAction(text, rule);
  if (!problem.empty()) {
    *error = "fault \"" + rule.text + "\": " + problem;
    return std::nullopt;
  }
  return rule;
}

FaultPlan::FaultPlan(const std::vector<FaultRule>& rules) {
  for (const FaultRule& rule : rules) {
    mRules.push_back({rule, std::mt19937(rule.randomStart)});
  }
}

std::vector<FaultPlan::ArmedRule*> FaultPlan::Due(const std::vector<std::string_view>& words) {
  std::vector<ArmedRule*> due;
  for (ArmedRule& armed : mRules) {
    if (std::find(words.begin(), words.end(), armed.rule.scope) == words.end()) {
      continue;
    }
    ++armed.hits;
    if (armed.hits >= armed.rule.firstHit && armed.hits <= armed.rule.lastHit) {
      due.push_back(&armed);
    }
  }
  return due;
}

CommandFault FaultPlan::OnCommand(std::string_view command) {
  CommandFault fault;
  bool decided = false;
  for (ArmedRule* armed : Due(CommandWords(command))) {
    const FaultRule& rule = armed->rule;
    if (rule.action == FaultAction::kDelay) {
      fault.delay += rule.delay;
    } else if (!decided) {
      decided = true;
      fault.refused = rule.action == FaultAction::kFail;
      fault.answered = rule.action != FaultAction::kDrop;
      if (rule.action == FaultAction::kReply) {
        fault.reply = rule.reply;
      }
    } else {
      continue;
    }
    ++armed->fired;
  }
  return fault;
}

std::optional<std::chrono::milliseconds> FaultPlan::OnEvent(std::string& event) {
  std::chrono::milliseconds delay{0};
  bool dropped = false;
  for (ArmedRule* armed : Due({kEvents})) {
    ++armed->fired;
    if (armed->rule.action == FaultAction::kDelay) {
      delay += armed->rule.delay;
    } else if (armed->rule.action == FaultAction::kGarble) {
      Garble(event, armed->random);
    } else {
      dropped = true;
    }
  }
  return dropped ? std::nullopt : std::optional(delay);
}

std::vector<FaultCount> FaultPlan::Counts() const {
  std::vector<FaultCount> counts;
  for (const ArmedRule& armed : mRules) {
    counts.push_back({armed.rule.text, armed.fired});
  }
  return counts;
}

}  // namespace host
