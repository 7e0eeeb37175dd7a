// Fault rules: what is accepted, what is refused with which words, and when a rule hits.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/emulated_driver/fault_rule.h"

namespace host {
namespace {

using std::chrono::milliseconds;

FaultPlan PlanOf(const std::vector<std::string>& texts) {
  std::vector<FaultRule> rules;
  for (const std::string& text : texts) {
    std::string error;
    const auto rule = ParseFaultRule(text, &error);
    EXPECT_TRUE(rule) << error;
    rules.push_back(rule.value_or(FaultRule{}));
  }
  return FaultPlan(rules);
}

// One letter for what becomes of each of `commands`: . as usual, f refused, d not answered, r
// answered with another text, l late by an hour.
std::string Play(FaultPlan& plan, const std::vector<std::string>& commands) {
  std::string outcome;
  for (const std::string& command : commands) {
    const CommandFault fault = plan.OnCommand(command);
    const bool late = fault.delay == std::chrono::hours(1);
    outcome += fault.refused ? 'f' : !fault.answered ? 'd' : fault.reply ? 'r' : late ? 'l' : '.';
  }
  return outcome;
}

std::vector<uint64_t> FiredOf(const FaultPlan& plan) {
  std::vector<uint64_t> fired;
  for (const FaultCount& count : plan.Counts()) {
    fired.push_back(count.fired);
  }
  return fired;
}

TEST(FaultRule, HitsTheCommandsItNamesInTheirTurn) {
  const std::string add = "DRIVER POLICY_ADD policy_type ipv4";
  const std::string start = "DRIVER TSF_CONFIG TSF_SYNC_START 3000";
  const std::string stop = "DRIVER TSF_CONFIG TSF_SYNC_STOP";
  const struct {
    std::vector<std::string> rules;
    std::vector<std::string> commands;
    std::string outcome;
    std::vector<uint64_t> fired;
  } cases[] = {
      {{"POLICY_ADD:fail"}, {add, "PING", add}, "f.f", {2}},
      {{"POLICY_ADD:fail@2"}, {add, add, add}, ".f.", {1}},
      {{"POLICY_ADD:dropx2"}, {add, "STATUS", add, add}, "d.d.", {2}},
      {{"POLICY_ADD:delay=3600000@1"}, {add, add}, "l.", {1}},
      {{"POLICY_ADD:reply=no\\n@2"}, {add, add}, ".r", {1}},
      {{"TSF_CONFIG:fail"}, {start, stop}, "ff", {2}},
      {{"TSF_SYNC_START:fail"}, {start, stop}, "f.", {1}},
      {{"PING:fail"}, {"PING", "PINGS", "PONG"}, "f..", {1}},
      {{"POLICY_ADD:fail@2", "POLICY_ADD:drop"}, {add, add, add}, "dfd", {1, 2}},
      {{"STATUS:delay=3599999", "STATUS:delay=1"}, {"STATUS"}, "l", {1, 1}},
      {{"DETACH:fail", "STATUS:fail"}, {"STATUS"}, "f", {0, 1}},
  };
  for (const auto& each : cases) {
    FaultPlan plan = PlanOf(each.rules);
    EXPECT_EQ(Play(plan, each.commands), each.outcome) << each.rules[0];
    EXPECT_EQ(FiredOf(plan), each.fired) << each.rules[0];
  }
}

TEST(FaultRule, ReadsAReplyUpToItsTurn) {
  const std::pair<std::string, std::string> cases[] = {{"", ""},
                                                       {"a=b c:d\\n", "a=b c:d\n"},
                                                       {"0x12\\n", "0x12\n"},
                                                       {"0x12", "0"},
                                                       {R"(a\\n\t\)", R"(a\n\t\)"}};
  for (const auto& [text, reply] : cases) {
    EXPECT_EQ(PlanOf({"PING:reply=" + text}).OnCommand("PING").reply, reply) << text;
  }
}

TEST(FaultRule, RefusesWithALineThatSaysWhatIsAllowed) {
  const std::pair<std::string, std::string> cases[] = {
      {"POLICY_ADD", "COMMAND:FAULT"},
      {"policy_add:fail", "one of SET_LATENCY_MODE"},
      {"PING:delay", "write fail, drop, delay=MS or reply=TEXT"},
      {"PING:garble=1", "write fail, drop, delay=MS or reply=TEXT"},
      {"events:fail", "write drop, delay=MS or garble=NUMBER"},
      {"PING:delay=-1", "\"-1\" is not a number"},
      {"PING:delay=3600001", "from 0 to 3600000"},
      {"PING:fail@0", "from 1 to 4294967295"},
      {"PING:fail@", "\"fail@\" is no fault"}};
  for (const auto& [rule, part] : cases) {
    std::string error;
    EXPECT_FALSE(ParseFaultRule(rule, &error)) << rule;
    EXPECT_THAT(error, testing::StartsWith("fault \"" + rule + "\": "));
    EXPECT_THAT(error, testing::HasSubstr(part)) << rule;
  }
}

TEST(FaultRule, DropsDelaysAndGarblesMessages) {
  const std::string sent = "<3>SVC-EVENT: (header) (0, 10, 46, 40) (1, 20, 46, 40)";
  FaultPlan plan =
      PlanOf({"events:drop@2", "events:delay=5@3", "events:garble=7@4", "events:garble=7@5"});
  std::vector<std::string> messages(5, sent);
  std::vector<std::optional<milliseconds>> delays(messages.size());
  std::transform(messages.begin(), messages.end(), delays.begin(),
                 [&](std::string& message) { return plan.OnEvent(message); });
  EXPECT_THAT(delays, testing::ElementsAre(milliseconds(0), std::nullopt, milliseconds(5),
                                           milliseconds(0), milliseconds(0)));
  EXPECT_EQ(messages[2], sent);
  EXPECT_NE(messages[3], sent);
  EXPECT_EQ(messages[3], messages[4]) << "the same number garbles the same way";
  EXPECT_EQ(messages[3].size(), sent.size());
  EXPECT_THAT(messages[3], testing::StartsWith("<3>SVC-EVENT:"));
  EXPECT_EQ(FiredOf(plan), std::vector<uint64_t>(4, 1));
}

}  // namespace
}  // namespace host
