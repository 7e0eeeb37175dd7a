#include "emulated_driver/fault_rule.h"

#include <algorithm>

#include "emulated_driver/driver_model.h"
#include "emulated_driver/refusal.h"

namespace {

constexpr uint32_t kMaxDelayMs = 3600 * 1000;

// What may follow a scope, which is empty here where it is a command.
constexpr struct Form {
  std::string_view scope;
  std::string_view action;
  std::string_view value;
  FaultAction kind;
} kForms[] = {
    {"", ":fail", "", FaultAction::kFail},
    {"", ":drop", "", FaultAction::kDrop},
    {"", ":delay", "=MS (0 to 3600000)", FaultAction::kDelay},
    {"", ":reply", "=TEXT", FaultAction::kReply},
    {"events", ":drop", "", FaultAction::kDrop},
    {"events", ":delay", "=MS (0 to 3600000)", FaultAction::kDelay},
    {"socket", ":reopen", "", FaultAction::kReopen},
    {"supplicant", ":restart", "", FaultAction::kRestart},
};

// The part of `text` before the first of `signs`, which it is left without.
std::string_view TakeBefore(std::string_view signs, std::string_view& text) {
  const std::string_view part = text.substr(0, text.find_first_of(signs));
  text.remove_prefix(part.size());
  return part;
}

// The forms of a rule with this scope. Throws a Refusal when there is none.
std::vector<Form> FormsOf(std::string_view scope, const std::string& text) {
  std::vector<std::string_view> commands = DriverModel::CommandNames();
  commands.insert(commands.end(), {"PING", "ATTACH", "DETACH", "STATUS", "STATUS-DRIVER", "*"});
  const bool isCommand = std::find(commands.begin(), commands.end(), scope) != commands.end();
  std::vector<Form> forms;
  std::copy_if(std::begin(kForms), std::end(kForms), std::back_inserter(forms),
               [&](const Form& form) { return form.scope == (isCommand ? "" : scope); });
  if (forms.empty() || scope.empty()) {
    throw Refusal(
        R"(fault "{}": "{}" is not a scope; write events, socket, supplicant, or one of {})", text,
        scope, fmt::join(commands, " "));
  }
  return forms;
}

// Reads "@N" or "xN"; false when it is neither.
bool ReadCount(std::string_view count, FaultRule& rule) {
  rule.lastHit = ParseNumber(count.substr(1)).value_or(0);
  rule.firstHit = count[0] == '@' ? rule.lastHit : 1;
  return rule.lastHit != 0;
}

std::string Unescape(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    const std::string_view two = text.substr(i, 2);
    i += two == "\\n" || two == "\\\\" ? 1 : 0;
    plain += two == "\\n" ? '\n' : text[i];
  }
  return plain;
}

// Reads what follows the action; false when it is not what `form` wants.
bool ReadValue(std::string_view value, const Form& form, FaultRule& rule) {
  if (form.value.empty() || !value.starts_with('=')) {
    return form.value.empty() && value.empty();
  }
  value.remove_prefix(1);
  if (form.kind == FaultAction::kReply) {
    rule.reply = Unescape(value);
    return true;
  }
  const auto milliseconds = ParseNumber(value, kMaxDelayMs);
  rule.delay = std::chrono::milliseconds(milliseconds.value_or(0));
  return milliseconds.has_value();
}

}  // namespace

FaultRule ParseFaultRule(const std::string& text) {
  std::string_view value = text;
  const std::string_view scope = TakeBefore("@x:", value);
  const std::string_view count = TakeBefore(":", value);
  const std::string_view action = TakeBefore("=@x", value);
  const std::vector<Form> forms = FormsOf(scope, text);
  const auto form = std::find_if(forms.begin(), forms.end(),
                                 [&](const Form& each) { return each.action == action; });
  if (form == forms.end()) {
    std::string allowed;
    for (const Form& each : forms) {
      allowed += fmt::format("{}{}{}{}{}", allowed.empty() ? "" : " or ", scope, count, each.action,
                             each.value);
    }
    throw Refusal("fault \"{}\": {}; write {}", text,
                  action.size() <= 1
                      ? "the action is missing"
                      : fmt::format("{} has no action \"{}\"", scope, action.substr(1)),
                  allowed);
  }
  FaultRule rule{text, std::string(scope), form->kind};
  if (!count.empty() && !ReadCount(count, rule)) {
    throw Refusal(R"(fault "{}": the number in "{}" must be 1 to {}; write {}{}1{}{})", text, count,
                  UINT32_MAX, scope, count[0], action, form->value);
  }
  if (!ReadValue(value, *form, rule)) {
    // A count may have been written at the end.
    const std::string_view end = value.substr(std::min(value.find_first_of("@x"), value.size()));
    throw Refusal("fault \"{}\": {}; write {}{}{}{}", text,
                  value.empty() ? "the value is missing"
                                : fmt::format("\"{}\" cannot follow {}", value, action.substr(1)),
                  scope, !end.empty() && ReadCount(end, rule) ? end : count, action, form->value);
  }
  return rule;
}

std::string FaultSentence(const FaultRule& rule) {
  const std::string times = rule.fired == 0   ? "never fired"
                            : rule.fired == 1 ? "fired once"
                                              : fmt::format("fired {} times", rule.fired);
  return "fault " + rule.text + " " + times;
}

std::vector<FaultRule*> FaultPlan::Due(const std::vector<std::string_view>& names) {
  std::vector<FaultRule*> due;
  for (FaultRule& rule : mRules) {
    const bool counts = std::find(names.begin(), names.end(), rule.scope) != names.end();
    rule.hits += counts ? 1 : 0;
    if (counts && rule.hits >= rule.firstHit && rule.hits <= rule.lastHit) {
      due.push_back(&rule);
    }
  }
  return due;
}

CommandFault FaultPlan::OnCommand(std::string_view command) {
  const bool isDriver = command.starts_with("DRIVER ");
  const auto words = SplitWords(command.substr(isDriver ? 7 : 0));
  const std::string_view second = words.size() > 1 ? words[1] : "";
  CommandFault fault;
  std::vector<std::string_view> names = {words[0], second};
  if (isDriver) {
    names.insert(names.end(), {"*", "socket", "supplicant"});
  }
  for (FaultRule* rule : Due(names)) {
    const bool restarts = rule->action == FaultAction::kRestart;
    const bool reopens = restarts || rule->action == FaultAction::kReopen;
    const bool adds = reopens || rule->action == FaultAction::kDelay;
    if (adds || fault.decides == nullptr) {
      ++rule->fired;
      fault.delay += rule->delay;
      fault.reopens = fault.reopens || reopens;
      fault.restarts = fault.restarts || restarts;
      fault.decides = adds ? fault.decides : rule;
    }
  }
  return fault;
}

std::optional<std::chrono::milliseconds> FaultPlan::OnEvent() {
  std::chrono::milliseconds delay{0};
  bool dropped = false;
  for (FaultRule* rule : Due({"events"})) {
    ++rule->fired;
    delay += rule->delay;
    dropped = dropped || rule->action == FaultAction::kDrop;
  }
  return dropped ? std::nullopt : std::optional(delay);
}
