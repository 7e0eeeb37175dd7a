// The driver model and the fault rules, as the tables beside this file show them.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>

#include "host/emulated_driver/driver_model.h"
#include "host/emulated_driver/fault_rule.h"
#include "host/refusal.h"

namespace host {
namespace {

// Each "case -> result" of the table must come out of `play` so, its further lines included.
void ExpectTable(const char* file, const std::function<std::string(const std::string&)>& play) {
  std::ifstream table(file);
  std::string written;
  std::string played;
  for (std::string line; std::getline(table, line); written += line + "\n") {
    const size_t arrow = line.find(" -> ");
    if (line.starts_with("#")) {
      played += line + "\n";
    } else if (arrow != std::string::npos) {
      played += line.substr(0, arrow) + " -> " + play(line.substr(0, arrow));
    }
  }
  EXPECT_NE(written, "") << file;
  EXPECT_EQ(played, written);
}

// The reply and the messages of `command`, which must change nothing when it is refused.
std::string Execute(DriverModel& model, const std::string& command) {
  const std::string before = model.Status();
  const DriverAnswer answer = model.Execute(command);
  std::string text = answer.reply;
  for (const std::string& message : answer.events) {
    text += message + "\n";
  }
  EXPECT_TRUE(text != "FAIL\n" || model.Status() == before) << command;
  return text;
}

// With words and blanks too many or too few, and with a NUL that hides what follows it.
void ExpectSpoiltRefused(DriverModel& model, const std::string& good) {
  for (const std::string& bad : {"x" + good, " " + good, good + " ", good + " 1", good + "\n"}) {
    EXPECT_EQ(Execute(model, bad), "FAIL\n") << bad;
  }
  for (size_t i = good.find(' '); i != std::string::npos; i = good.find(' ', i + 1)) {
    EXPECT_EQ(Execute(model, std::string(good).insert(i, " ")), "FAIL\n") << good;
    EXPECT_EQ(Execute(model, std::string(good).insert(i, std::string("\0x", 2))), "FAIL\n") << good;
    EXPECT_EQ(Execute(model, good.substr(0, i)), "FAIL\n") << good;
  }
}

TEST(DriverModel, CarriesOutAndRefusesAsItsTableSays) {
  DriverModel model;
  ExpectTable(EMULATED_DRIVER_COMMANDS, [&](const std::string& command) {
    if (command == "STATUS") {
      return model.Status();
    }
    ExpectSpoiltRefused(model, command);
    return Execute(model, command);
  });
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, ';');) {
    parts.push_back(part);
  }
  return parts;
}

// "refused", or what becomes of each command and how often each rule fired.
std::string PlayRules(const std::string& line) {
  const size_t bar = line.find(" | ");
  std::vector<FaultRule> parsed;
  try {
    for (const std::string& rule : Split(line.substr(0, bar))) {
      parsed.push_back(ParseFaultRule(rule));
    }
  } catch (const Refusal&) {
    return "refused\n";
  }
  FaultPlan plan(parsed);
  std::string outcome;
  for (const std::string& command : Split(line.substr(bar + 3))) {
    const CommandFault fault = plan.OnCommand(command);
    outcome += fault.refused ? "fail" : fault.answered ? fault.reply.value_or("ok") : "drop";
    outcome += fault.delay.count() == 0 ? " " : "+" + std::to_string(fault.delay.count()) + " ";
  }
  std::replace(outcome.begin(), outcome.end(), '\n', '$');
  outcome += "fired";
  for (const FaultCount& count : plan.Counts()) {
    outcome += " " + std::to_string(count.fired);
  }
  return outcome + "\n";
}

TEST(FaultRule, HitsOrIsRefusedAsItsTableSays) { ExpectTable(EMULATED_DRIVER_FAULTS, PlayRules); }

TEST(FaultRule, GarblesBehindThePrefixTheSameWayForANumber) {
  const std::string sent = "<3>SVC-EVENT: (header) (0, 10, 46, 40) (1, 20, 46, 40)";
  std::string messages[] = {sent, sent};
  for (std::string& message : messages) {
    FaultPlan({ParseFaultRule("events:garble=7")}).OnEvent(message);
  }
  EXPECT_NE(messages[0], sent);
  EXPECT_EQ(messages[0], messages[1]);
  EXPECT_THAT(messages[0], testing::StartsWith("<3>SVC-EVENT:"));
}

}  // namespace
}  // namespace host
