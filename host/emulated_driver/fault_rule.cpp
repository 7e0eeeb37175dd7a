#include "host/emulated_driver/fault_rule.h"

#include <algorithm>
#include <iterator>

#include "host/emulated_driver/driver_model.h"
#include "host/refusal.h"

namespace {

constexpr std::string_view kEvents = "events";
constexpr std::string_view kSocket = "socket";
constexpr uint32_t kMaxDelayMs = 3600 * 1000;
constexpr std::string_view kSupplicantCommands[] = {"PING", "ATTACH", "DETACH", "STATUS",
                                                    "STATUS-DRIVER"};

struct ActionForm {
  std::string_view scope;  // empty: any command
  std::string_view name;   // with its "=" where a value follows
  FaultAction action;
};
constexpr ActionForm kActions[] = {
    {"", "fail", FaultAction::kFail},           {"", "drop", FaultAction::kDrop},
    {"", "delay=", FaultAction::kDelay},        {"", "reply=", FaultAction::kReply},
    {kEvents, "drop", FaultAction::kDrop},      {kEvents, "delay=", FaultAction::kDelay},
    {kEvents, "garble=", FaultAction::kGarble}, {kSocket, "reopen", FaultAction::kReopen},
};

std::string Unescape(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    const std::string_view two = text.substr(i, 2);
    const bool escape = two == "\\n" || two == "\\\\";
    plain += two == "\\n" ? '\n' : text[i];
    i += escape ? 1 : 0;
  }
  return plain;
}

// Takes a final @N or xN off `text` and sets the hits of `rule` by it; false for N of 0 or above
// 4294967295.
bool TakeHits(std::string_view& text, FaultRule& rule) {
  const size_t mark = text.find_last_not_of("0123456789");
  if (mark == std::string_view::npos || mark + 1 == text.size() ||
      (text[mark] != '@' && text[mark] != 'x')) {
    return true;
  }
  rule.lastHit = ParseNumber(text.substr(mark + 1)).value_or(0);
  rule.firstHit = text[mark] == '@' ? rule.lastHit : 1;
  text = text.substr(0, mark);
  return rule.lastHit != 0;
}

// Reads "name" or "name=value" into `rule`; false when it is neither for its scope.
bool TakeAction(std::string_view action, FaultRule& rule) {
  const bool ofCommand = rule.scope != kEvents && rule.scope != kSocket;
  const std::string_view scope = ofCommand ? std::string_view() : std::string_view(rule.scope);
  const size_t nameSize = std::min(action.find('='), action.size() - 1) + 1;
  const auto* form = std::find_if(std::begin(kActions), std::end(kActions), [&](const auto& each) {
    return each.name == action.substr(0, nameSize) && each.scope == scope;
  });
  if (form == std::end(kActions)) {
    return false;
  }
  rule.action = form->action;
  const std::string_view value = action.substr(nameSize);
  if (form->name.ends_with("=") && form->action != FaultAction::kReply) {
    const uint32_t max = form->action == FaultAction::kDelay ? kMaxDelayMs : UINT32_MAX;
    rule.number = ParseNumber(value, max).value_or(0);
    return ParseNumber(value, max).has_value();
  }
  rule.reply = Unescape(value);
  return true;
}

bool IsScope(std::string_view scope) {
  const auto names = DriverModel::CommandNames();
  return scope == kEvents || scope == kSocket ||
         std::find(names.begin(), names.end(), scope) != names.end() ||
         std::find(std::begin(kSupplicantCommands), std::end(kSupplicantCommands), scope) !=
             std::end(kSupplicantCommands);
}

// Changes about every eighth byte, and one at least. The prefix stays, because nobody waits for a
// message without it. Never makes a NUL.
void Garble(std::string& event, std::mt19937& random) {
  const size_t begin = std::min(kEventPrefix.size(), event.size());
  const size_t length = event.size() - begin;
  for (size_t i = random() % std::clamp<size_t>(length, 1, 8); i < length; i += 1 + random() % 15) {
    char& byte = event[begin + i];
    // Goes 1 to 254 steps forward among the 255 bytes that are not NUL: always another byte.
    const auto stepped = static_cast<unsigned char>(byte) + random() % 254;
    byte = static_cast<char>(1 + stepped % 255);
  }
}

}  // namespace

FaultRule ParseFaultRule(const std::string& text) {
  const size_t colon = std::min(text.find(':'), text.size());
  std::string_view scope = std::string_view(text).substr(0, colon);
  std::string_view action = std::string_view(text).substr(std::min(colon + 1, text.size()));
  FaultRule rule;
  rule.text = text;
  // The text of a reply may end like a turn.
  const bool hitsTaken = TakeHits(action.starts_with("reply=") ? scope : action, rule);
  rule.scope = scope;
  if (!hitsTaken || !IsScope(rule.scope) || !TakeAction(action, rule)) {
    throw Refusal(
        "fault \"{}\": write COMMAND:fail, :drop, :delay=MS (at most {}), events:drop, :delay=MS, "
        ":garble=NUMBER or socket:reopen, then @N or xN with N from 1; or COMMAND:reply=TEXT, "
        "COMMAND@N:reply=TEXT, COMMANDxN:reply=TEXT; COMMAND is one of {} {}",
        text, kMaxDelayMs, fmt::join(DriverModel::CommandNames(), " "),
        fmt::join(kSupplicantCommands, " "));
  }
  return rule;
}

std::string FaultSentence(const FaultCount& fault) {
  const std::string times = fault.fired == 0   ? "never fired"
                            : fault.fired == 1 ? "fired once"
                                               : fmt::format("fired {} times", fault.fired);
  return "fault " + fault.rule + " " + times;
}

FaultPlan::FaultPlan(const std::vector<FaultRule>& rules) {
  for (const FaultRule& rule : rules) {
    mRules.push_back({rule, std::mt19937(rule.number)});
  }
}

std::vector<FaultPlan::ArmedRule*> FaultPlan::Due(std::string_view name,
                                                  std::string_view otherName) {
  std::vector<ArmedRule*> due;
  for (ArmedRule& armed : mRules) {
    if (armed.rule.scope != name && armed.rule.scope != otherName) {
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
  if (command.starts_with("DRIVER ")) {
    command.remove_prefix(7);
    for (ArmedRule* armed : Due(kSocket)) {
      fault.reopens = true;
      ++armed->fired;
    }
  }
  const auto words = SplitWords(command);
  bool decided = false;
  for (ArmedRule* armed : Due(words[0], words.size() > 1 ? words[1] : "")) {
    const FaultRule& rule = armed->rule;
    if (rule.action == FaultAction::kDelay) {
      fault.delay += std::chrono::milliseconds(rule.number);
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
  for (ArmedRule* armed : Due(kEvents)) {
    ++armed->fired;
    if (armed->rule.action == FaultAction::kDelay) {
      delay += std::chrono::milliseconds(armed->rule.number);
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
