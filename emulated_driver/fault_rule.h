// Rules that make the emulated driver misbehave, written SCOPE[@N|xN]:ACTION[=VALUE]:
//
//   POLICY_ADD@2:fail      the second POLICY_ADD is answered FAIL and not carried out
//   *x3:delay=50           the first three driver commands are answered 50 ms late
//   events:drop            no unsolicited message is sent
// The manual page of wlc describes every scope and action.
//
// Where several rules apply to a command, delays add up, and the first of fail, drop and reply
// decides.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

enum class FaultAction { kFail, kDrop, kDelay, kReply, kReopen, kRestart };

struct FaultRule {
  std::string text;   // as written
  std::string scope;  // a command, "*" for every driver command, "events", "socket", "supplicant"
  FaultAction action = FaultAction::kFail;
  std::string reply = {};
  std::chrono::milliseconds delay{0};
  uint64_t firstHit = 1;          // counted from 1
  uint64_t lastHit = UINT64_MAX;  // inclusive
  uint64_t hits = 0;              // commands or messages of its scope so far
  uint64_t fired = 0;             // how many of them it has changed
};

// The rule that `text` writes. Throws a Refusal that names the wrong part and shows the rule as it
// should be.
FaultRule ParseFaultRule(const std::string& text);

// For a person: "fault POLICY_ADD@2:fail fired once".
std::string FaultSentence(const FaultRule& rule);

// What the rules do to one command.
struct CommandFault {
  std::chrono::milliseconds delay{0};  // of its answer
  bool reopens = false;                // the socket, after the command
  bool restarts = false;               // the driver, which forgets all, too
  const FaultRule* decides = nullptr;  // the rule to fail, drop or reply, if there is one
};

// The rules of a driver, which count what they meet. One thread at a time.
class FaultPlan {
 public:
  explicit FaultPlan(std::vector<FaultRule> rules) : mRules(std::move(rules)) {}

  // What the rules do to the next command, given as received ("DRIVER POLICY_ADD ...").
  CommandFault OnCommand(std::string_view command);
  // By how much to delay the next unsolicited message; nothing: do not send it.
  std::optional<std::chrono::milliseconds> OnEvent();

  const std::vector<FaultRule>& Rules() const { return mRules; }

 private:
  // Counts a command or message that has these names; the rules that apply to it.
  std::vector<FaultRule*> Due(const std::vector<std::string_view>& names);

  std::vector<FaultRule> mRules;
};
