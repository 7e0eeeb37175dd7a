// What reads a person's or a device's text: scripts, fault rules, service classes, logs, settings
// and a driver's status. The input is read as each of them. All that is wrong is refused in one
// sentence, and what is accepted means what it says.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <sstream>

#include "config/link_configuration.h"
#include "emulated_driver/driver_model.h"
#include "emulated_driver/fault_rule.h"
#include "emulated_driver/refusal.h"
#include "wlc/replay.h"
#include "wlc/steps.h"
#include "wlc/toml_config.h"

namespace {

// What `parse` refuses, or nothing.
template <typename Parse>
std::string Refused(const Parse& parse) {
  try {
    parse();
    return "";
  } catch (const Refusal& refusal) {
    EXPECT_STRNE(refusal.what(), "") << "a refusal says why";
    return refusal.what();
  }
}

void CheckScript(const std::string& line) {
  for (const Step& step : ParseSteps(line)) {
    if (step.command.form != nullptr) {
      const Step again = ParseSteps(step.command.Text()).at(0);
      EXPECT_EQ(again.command.form, step.command.form);
      EXPECT_EQ(again.command.values, step.command.values) << "a command is what it writes";
    }
  }
}

void CheckFault(const std::string& line) {
  const FaultRule rule = ParseFaultRule(line);
  EXPECT_TRUE(line.starts_with(rule.scope) && rule.text == line);
  EXPECT_TRUE(rule.firstHit >= 1 && rule.firstHit <= rule.lastHit) << "a rule can fire";
}

void CheckLog(std::string text) {
  std::istringstream log(std::move(text));
  std::istringstream script(ReadLog(log, "log").script);
  for (std::string line; std::getline(script, line);) {
    const std::string refused = Refused([&] { ParseSteps(line); });
    EXPECT_TRUE(refused.empty() || refused.find("must be a decimal number") != std::string::npos)
        << refused;
  }
}

void CheckSettings(int file, const std::string& name) {
  TomlConfig config;
  const bool valid = config.Load(name).empty();
  LinkConfiguration settings;
  ForEachSetting(settings, [&](const std::string& setting, auto& value) {
    const bool found = config.getProperty(SettingKey(setting), value) == 0;
    EXPECT_EQ(found, !config.OriginOf(SettingKey(setting)).empty())
        << "what has a value has a line";
  });
  EXPECT_EQ(lseek(file, 0, SEEK_SET), 0);
  EXPECT_EQ(TomlConfig().Load(name).empty(), valid);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  GTEST_FLAG_SET(throw_on_failure, true);
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    Refused([&] { CheckScript(line); });
    Refused([&] { CheckFault(line); });
    Refused([&] { ParseServiceClass(line); });
  }
  Refused([&] { CheckLog(text); });
  if (const auto driver = DriverModel::FromStatus(text)) {
    EXPECT_EQ(DriverModel::FromStatus(driver->Status())->Status(), driver->Status());
  }
  const int file = memfd_create("settings.toml", MFD_CLOEXEC);
  EXPECT_EQ(write(file, data, size), static_cast<ssize_t>(size));
  Refused([&] { CheckSettings(file, "/proc/self/fd/" + std::to_string(file)); });
  close(file);
  return 0;
}
