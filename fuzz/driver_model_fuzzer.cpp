// The emulated driver's command parser: the input is a file of commands, one a line. A refused
// command must change nothing, and whatever is accepted must leave a state that a driver can have.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>

#include "emulated_driver/driver_model.h"

namespace {

void CheckState(const std::string& status) {
  std::istringstream lines(status);
  std::set<unsigned long> classes;
  std::set<std::string> flows;
  for (std::string line; std::getline(lines, line);) {
    const size_t value = line.find('=');
    EXPECT_TRUE(value != std::string::npos) << "the state is key=value lines";
    unsigned id = 0;
    if (std::sscanf(line.c_str(), "service_class[%u]", &id) == 1) {
      EXPECT_TRUE(id <= 31 && classes.insert(id).second) << "an ID is 0 to 31 and unique";
    } else if (const size_t word = line.rfind(" class "); line.starts_with("policy[")) {
      EXPECT_TRUE(flows.insert(line.substr(value, word - value)).second) << "a flow has one policy";
      EXPECT_TRUE(classes.contains(std::stoul(line.substr(word + 7)))) << "a policy's class exists";
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  GTEST_FLAG_SET(throw_on_failure, true);
  DriverModel driver;
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  std::string before = driver.Status();
  for (std::string line; std::getline(lines, line);) {
    const DriverAnswer answer = driver.Execute(line);
    const std::string after = driver.Status();
    const bool refused = answer.reply == kReplyFail;
    EXPECT_TRUE(refused || answer.reply == kReplyOk || answer.reply.starts_with("cookie="))
        << "a reply is one of the given forms";
    EXPECT_TRUE(!refused || (after == before && answer.events.empty()))
        << "a refusal changes nothing";
    CheckState(after);
    before = after;
  }
  return 0;
}
