// Rules that make the emulated driver misbehave, and how often each of them did.
//
//   COMMAND:fail         answered FAIL, not carried out
//   COMMAND:drop         carried out, but never answered
//   COMMAND:delay=MS     carried out (its messages sent) at once, answered MS milliseconds late
//   COMMAND:reply=TEXT   carried out, but answered with TEXT; \n is a line end, \\ a backslash
//   events:drop          an unsolicited message is not sent
//   events:delay=MS      it is sent MS milliseconds late, and so after the command's answer
//   events:garble=NUMBER random bytes behind "<3>SVC-EVENT:" are changed, the same for each NUMBER
//   socket:reopen        the control socket is closed and opened anew after a driver command
// Each may end in @N (only the Nth such command or message) or xN (only the first N), but for a
// reply, whose TEXT takes all that follows: POLICY_ADD@2:reply=cookie=0x12.
// COMMAND is PING, ATTACH, DETACH, STATUS, STATUS-DRIVER or a driver command's first or second
// word. Where several rules apply, delays add up and the first of fail, drop and reply decides.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

enum class FaultAction { kFail, kDrop, kDelay, kReply, kGarble, kReopen };

struct FaultRule {
  std::string text;   // as written, for reports
  std::string scope;  // the command, "events" or "socket"
  FaultAction action = FaultAction::kFail;
  std::string reply;
  uint32_t number = 0;            // milliseconds of delay, or where garble's random numbers start;
                                  // 0 for all others
  uint64_t firstHit = 1;          // counted from 1
  uint64_t lastHit = UINT64_MAX;  // inclusive
};

// The rule that `text` writes; throws a Refusal that says what is allowed.
FaultRule ParseFaultRule(const std::string& text);

struct FaultCount {
  std::string rule;
  uint64_t fired;  // commands or messages that it has changed
};

// For a person: "fault POLICY_ADD:fail@2 fired once".
std::string FaultSentence(const FaultCount& fault);

struct CommandFault {
  std::chrono::milliseconds delay{0};
  bool refused = false;
  bool answered = true;
  bool reopens = false;
  std::optional<std::string> reply;
};

// The rules of a driver, with their counts. One thread at a time.
class FaultPlan {
 public:
  explicit FaultPlan(const std::vector<FaultRule>& rules);

  // What the rules do to the next command, given as received ("DRIVER POLICY_ADD ...").
  CommandFault OnCommand(std::string_view command);
  // By how much to delay the next unsolicited message, which may be changed; nothing: drop it.
  std::optional<std::chrono::milliseconds> OnEvent(std::string& event);
  // One entry for each rule, in the given order.
  std::vector<FaultCount> Counts() const;

 private:
  struct ArmedRule {
    FaultRule rule;
    std::mt19937 random;
    uint64_t hits = 0;
    uint64_t fired = 0;
  };
  // Counts a command or message that has these names; the rules that apply to it.
  std::vector<ArmedRule*> Due(const std::vector<std::string_view>& names);

  std::vector<ArmedRule> mRules;
};
