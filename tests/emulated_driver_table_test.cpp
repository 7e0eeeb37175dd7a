// The driver model and the fault rules, as the tables beside this file show them.
#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "host/emulated_driver/driver_model.h"
#include "host/emulated_driver/fault_rule.h"
#include "host/refusal.h"

namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text + separator);
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

// Each "case -> result" of the table must come out of `play` so. "{a,b}" in a case stands for each
// of its words, which must all come out so.
void ExpectTable(const char* file, const std::function<std::string(const std::string&)>& play) {
  std::ifstream table(file);
  int cases = 0;
  for (std::string line; std::getline(table, line);) {
    const size_t arrow = line.find(" -> ");
    if (line.starts_with("#") || arrow == std::string::npos) {
      continue;
    }
    const std::string text = line.substr(0, arrow);
    const size_t open = std::min(text.find('{'), arrow);
    const size_t close = std::min(text.find('}', open), arrow);
    for (const std::string& word : Split(text.substr(open, close - open), ',')) {
      const std::string played = text.substr(0, open) + word.substr(word.starts_with("{") ? 1 : 0) +
                                 text.substr(std::min(close + 1, arrow));
      EXPECT_EQ(play(played), line.substr(arrow + 4)) << played;
      ++cases;
    }
  }
  EXPECT_GT(cases, 0) << file;
}

// The reply and the messages of `command`, which must change nothing when it is refused.
std::string Execute(DriverModel& model, const std::string& command) {
  const std::string before = model.Status();
  const DriverAnswer answer = model.Execute(command);
  std::string text = answer.reply.substr(0, answer.reply.size() - 1);
  for (const std::string& message : answer.events) {
    text += "; " + message;
  }
  EXPECT_TRUE(text != "FAIL" || model.Status() == before) << command;
  return text;
}

// With words and blanks too many or too few, and with a NUL that hides what follows it.
void ExpectSpoiltRefused(DriverModel& model, const std::string& good) {
  for (const std::string& bad : {"x" + good, " " + good, good + " ", good + " 1", good + "\n"}) {
    EXPECT_EQ(Execute(model, bad), "FAIL") << bad;
  }
  for (size_t i = good.find(' '); i != std::string::npos; i = good.find(' ', i + 1)) {
    EXPECT_EQ(Execute(model, std::string(good).insert(i, " ")), "FAIL") << good;
    EXPECT_EQ(Execute(model, std::string(good).insert(i, std::string("\0x", 2))), "FAIL") << good;
    EXPECT_EQ(Execute(model, good.substr(0, i)), "FAIL") << good;
  }
}

TEST(DriverModel, CarriesOutAndRefusesAsItsTableSays) {
  DriverModel model;
  std::string last;
  ExpectTable(EMULATED_DRIVER_COMMANDS, [&](const std::string& command) {
    if (command != "STATUS") {
      ExpectSpoiltRefused(model, command);
      return Execute(model, command);
    }
    std::string changed;
    for (const std::string& line : Split(model.Status(), '\n')) {
      changed += last.find(line + "\n") == std::string::npos ? "; " + line : "";
    }
    last = model.Status();
    return changed.substr(2, changed.size() - (changed.ends_with("; ") ? 4 : 2));
  });
}

// "refused", or what becomes of each command and how often each rule fired.
std::string PlayRules(const std::string& line) {
  const size_t bar = line.find(" | ");
  std::vector<FaultRule> parsed;
  try {
    for (const std::string& rule : Split(line.substr(0, bar), ';')) {
      parsed.push_back(ParseFaultRule(rule));
    }
  } catch (const Refusal&) {
    return "refused";
  }
  FaultPlan plan(parsed);
  std::string outcome;
  for (const std::string& command : Split(line.substr(bar + 3), ';')) {
    const CommandFault fault = plan.OnCommand(command);
    outcome += fault.refused ? "fail" : fault.answered ? fault.reply.value_or("ok") : "drop";
    outcome += fault.reopens ? "+reopen" : "";
    outcome += fault.delay.count() == 0 ? " " : "+" + std::to_string(fault.delay.count()) + " ";
  }
  std::replace(outcome.begin(), outcome.end(), '\n', '$');
  outcome += "fired";
  for (const FaultCount& count : plan.Counts()) {
    outcome += " " + std::to_string(count.fired);
  }
  return outcome;
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
