// The driver model, as emulated_driver_commands.txt shows it.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <utility>

#include "emulated_driver/driver_model.h"

namespace {

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

// What `command` is answered; of STATUS the lines that are not in `last`, which it replaces.
std::string Play(DriverModel& model, const std::string& command, std::string& last) {
  if (command != "STATUS") {
    ExpectSpoiltRefused(model, command);
    return Execute(model, command);
  }
  std::string changed;
  const std::string before = std::exchange(last, model.Status());
  std::istringstream lines(last);
  for (std::string line; std::getline(lines, line);) {
    changed += before.find(line + "\n") == std::string::npos ? "; " + line : "";
  }
  return changed.substr(2);
}

TEST(DriverModel, CarriesOutAndRefusesAsItsTableSays) {
  DriverModel model;
  std::string status;
  const std::regex row(R"(([^#{][^{]*)(\{(.*)\}(.*))? -> (.*))");
  std::ifstream table(EMULATED_DRIVER_COMMANDS);
  EXPECT_TRUE(table.is_open());
  for (std::string line, rest; std::getline(table, line);) {
    while (line.ends_with('\\') && std::getline(table, rest)) {  // it goes on in the next one
      line.replace(line.size() - 1, 1, rest, rest.find_first_not_of(' '));
    }
    std::smatch part;
    if (!std::regex_match(line, part, row)) {
      continue;
    }
    const std::string words = part[3];
    for (const std::string_view word : SplitWords(words, ',')) {
      const std::string command = part.str(1) + std::string(word) + part.str(4);
      EXPECT_EQ(Play(model, command, status), part[5]) << command;
    }
  }
}

}  // namespace
