#include "host/emulated_driver/fault_rule.h"

#include <algorithm>
#include <regex>

#include "host/emulated_driver/driver_model.h"
#include "host/refusal.h"

namespace {

constexpr char kSupplicantCommands[] = "PING ATTACH DETACH STATUS STATUS-DRIVER";
constexpr uint32_t kMaxDelayMs = 3600 * 1000;

// How a rule is written: its scope, its number and its @N or xN, of which all but the scope may be
// empty. {0} is any command, {1} an @N or xN. The text of a reply, which may be long, is what
// follows.
constexpr struct {
  FaultAction action;
  const char* form;
} kForms[] = {
    {FaultAction::kFail, "({0}):fail(){1}"},
    {FaultAction::kDrop, "({0}|events):drop(){1}"},
    {FaultAction::kDelay, "({0}|events):delay=([0-9]{{1,10}}){1}"},
    {FaultAction::kGarble, "(events):garble=([0-9]{{1,10}}){1}"},
    {FaultAction::kReopen, "(socket):reopen(){1}"},
    {FaultAction::kReply, "({0})(){1}:reply="},
};
constexpr char kHits[] = "(?:([@x])([0-9]{1,10}))?";

std::string Unescape(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    const std::string_view two = text.substr(i, 2);
    i += two == "\\n" || two == "\\\\" ? 1 : 0;
    plain += two == "\\n" ? '\n' : text[i];
  }
  return plain;
}

// The rule that `text` writes as `action`; nothing when a number is out of range, or when text
// follows what the form describes.
std::optional<FaultRule> RuleFrom(const std::string& text, FaultAction action,
                                  const std::smatch& found) {
  FaultRule rule{text, found[1], action, Unescape(found.suffix().str())};
  const uint32_t max = action == FaultAction::kDelay ? kMaxDelayMs : UINT32_MAX;
  const auto number = found.length(2) == 0 ? 0U : ParseNumber(found.str(2), max);
  if (found[3].matched) {
    rule.lastHit = ParseNumber(found.str(4)).value_or(0);
    rule.firstHit = found[3] == "@" ? rule.lastHit : 1;
  }
  rule.number = number.value_or(0);
  const bool ends = action == FaultAction::kReply || rule.reply.empty();
  return ends && number && rule.lastHit != 0 ? std::optional(rule) : std::nullopt;
}

// Changes about every eighth byte. The prefix stays, because nobody waits for a
// message without it. Never makes a NUL.
void Garble(std::string& event, std::mt19937& random) {
  for (size_t i = kEventPrefix.size() + random() % 8; i < event.size(); i += 1 + random() % 15) {
    // Goes 1 to 254 steps forward among the 255 bytes that are not NUL: always another byte.
    const auto stepped = static_cast<unsigned char>(event[i]) + random() % 254;
    event[i] = static_cast<char>(1 + stepped % 255);
  }
}

}  // namespace

FaultRule ParseFaultRule(const std::string& text) {
  const std::string commands =
      fmt::format("{} {}", fmt::join(DriverModel::CommandNames(), " "), kSupplicantCommands);
  const std::string anyCommand = std::regex_replace(commands, std::regex(" "), "|");
  for (const auto& [action, form] : kForms) {
    std::smatch found;
    const std::regex regex(fmt::format(fmt::runtime(form), anyCommand, kHits));
    if (std::regex_search(text, found, regex, std::regex_constants::match_continuous)) {
      if (const auto rule = RuleFrom(text, action, found)) {
        return *rule;
      }
    }
  }
  throw Refusal(
      "fault \"{}\": write COMMAND:fail, :drop, :delay=MS (at most {}), events:drop, :delay=MS, "
      ":garble=NUMBER or socket:reopen, then @N or xN with N from 1; or COMMAND:reply=TEXT, "
      "COMMAND@N:reply=TEXT, COMMANDxN:reply=TEXT; COMMAND is one of {}",
      text, kMaxDelayMs, commands);
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

std::vector<FaultPlan::ArmedRule*> FaultPlan::Due(const std::vector<std::string_view>& names) {
  std::vector<ArmedRule*> due;
  for (ArmedRule& armed : mRules) {
    const bool counts = std::find(names.begin(), names.end(), armed.rule.scope) != names.end();
    armed.hits += counts ? 1 : 0;
    if (counts && armed.hits >= armed.rule.firstHit && armed.hits <= armed.rule.lastHit) {
      due.push_back(&armed);
    }
  }
  return due;
}

CommandFault FaultPlan::OnCommand(std::string_view command) {
  const bool isDriver = command.starts_with("DRIVER ");
  const auto words = SplitWords(command.substr(isDriver ? 7 : 0));
  CommandFault fault;
  bool decided = false;
  for (ArmedRule* armed :
       Due({words[0], words.size() > 1 ? words[1] : "", isDriver ? "socket" : ""})) {
    const FaultRule& rule = armed->rule;
    const bool decides = rule.action != FaultAction::kDelay && rule.action != FaultAction::kReopen;
    if (decides && decided) {
      continue;
    }
    decided = decided || decides;
    ++armed->fired;
    fault.delay += std::chrono::milliseconds(rule.number);
    fault.reopens = fault.reopens || rule.action == FaultAction::kReopen;
    fault.refused = fault.refused || rule.action == FaultAction::kFail;
    fault.answered = fault.answered && rule.action != FaultAction::kDrop;
    if (rule.action == FaultAction::kReply) {
      fault.reply = rule.reply;
    }
  }
  return fault;
}

std::optional<std::chrono::milliseconds> FaultPlan::OnEvent(std::string& event) {
  std::chrono::milliseconds delay{0};
  bool dropped = false;
  for (ArmedRule* armed : Due({"events"})) {
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
