#include "host/runner/explain.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/coreutils/settings.h"
#include "host/coreutils/toml_config.h"

namespace host {
namespace {

constexpr size_t kCommandLimit = 511;  // the service cuts a driver command here
constexpr const char* kNodeValues[] = {"10 2 42 0", "10 3 47 0 0", "10 3 47 1 0"};

// The settings as the service finds them.
class Settings {
 public:
  explicit Settings(TomlConfig& config) : mConfig(config) {}

  std::string Text(std::string_view name) const {
    return Found<std::string>(name).value_or(Default(name));
  }
  int32_t Integer(std::string_view name) const {
    return Found<int32_t>(name).value_or(std::stoi(Default(name)));
  }
  bool Boolean(std::string_view name) const {
    return Found<bool>(name).value_or(Default(name) == "true");
  }
  std::string Shown(const Setting& setting) const {
    switch (setting.type) {
      case SettingType::kInteger:
        return std::to_string(Integer(setting.name));
      case SettingType::kBoolean:
        return Boolean(setting.name) ? "true" : "false";
      case SettingType::kText:
        return "\"" + Text(setting.name) + "\"";
    }
    return "";
  }
  // "demo.toml:7", or "default".
  std::string Origin(std::string_view name) const {
    const std::string origin = mConfig.OriginOf(SettingKey(name));
    return origin.empty() ? "default" : origin;
  }

 private:
  template <typename T>
  std::optional<T> Found(std::string_view name) const {
    T value{};
    return mConfig.getProperty(SettingKey(name), value) == 0 ? std::optional<T>(value)
                                                             : std::nullopt;
  }
  static std::string Default(std::string_view name) {
    const auto setting = std::find_if(kSettings.begin(), kSettings.end(),
                                      [name](const Setting& one) { return one.name == name; });
    return std::string(setting->defaultText);
  }

  TomlConfig& mConfig;
};

std::string Unsigned(int32_t value) { return std::to_string(static_cast<uint32_t>(value)); }

std::vector<std::string> LinkCommands(const std::string& mode, const std::string& tsf, bool tsfOn,
                                      const std::string& mask) {
  std::vector<std::string> commands = {"DRIVER SET_LATENCY_MODE " + mode};
  if (tsfOn) {
    commands.push_back("DRIVER TSF_CONFIG " + tsf);
  }
  commands.push_back("DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK " + mask);
  for (std::string& command : commands) {
    command.resize(std::min(command.size(), kCommandLimit));
  }
  return commands;
}

std::vector<std::string> ApplyCommands(const Settings& settings) {
  return LinkCommands(Unsigned(settings.Integer("wlanXRLatencyMode")),
                      "TSF_SYNC_START " + Unsigned(settings.Integer("wlanTsfSyncInterval")),
                      settings.Boolean("wlanEnableTsf"), settings.Text("wlanSetRatemask"));
}

std::vector<std::string> RevertCommands(const Settings& settings) {
  return LinkCommands(Unsigned(settings.Integer("wlanNormalLatencyMode")), "TSF_SYNC_STOP",
                      settings.Boolean("wlanEnableTsf"), settings.Text("wlanOriginalRatemask"));
}

bool IsRateMask(const std::string& text) {
  return text.size() >= 3 && text.size() <= 10 &&
         (text.starts_with("0x") || text.starts_with("0X")) &&
         text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
}

// What is allowed, but may not be what its writer meant.
std::vector<std::string> Surprises(const Settings& settings, const TomlFile& file) {
  std::vector<std::string> surprises;
  const auto add = [&](std::string_view name, const std::string& text) {
    surprises.push_back(settings.Origin(name) + ": " + std::string(name) + ": " + text);
  };
  for (const char* name : {"wlanXRLatencyMode", "wlanNormalLatencyMode", "wlanTsfSyncInterval"}) {
    const int32_t value = settings.Integer(name);
    if (value < 0) {
      add(name, std::to_string(value) + " reaches the driver as " + Unsigned(value));
    }
  }
  for (const char* name : {"wlanSetRatemask", "wlanOriginalRatemask"}) {
    if (!IsRateMask(settings.Text(name))) {
      add(name,
          "\"" + settings.Text(name) + "\" is not a mask of 0x and 1 to 8 hexadecimal digits");
    }
  }
  const auto node = file.strings.find(SettingKey("wlanUnitTestTargetNode"));
  if (node != file.strings.end() && node->second != LowerCase(node->second)) {
    add("wlanUnitTestTargetNode", "reaches the service in lower case, as \"" +
                                      settings.Text("wlanUnitTestTargetNode") + "\"");
  }
  if (settings.Boolean("disableRRA") && settings.Text("wlanUnitTestTargetNode").empty()) {
    add("disableRRA", "apply fails without a wlanUnitTestTargetNode");
  }
  return surprises;
}

void PrintList(const std::string& title, const std::vector<std::string>& lines) {
  if (!lines.empty()) {
    std::printf("\n%s\n", title.c_str());
  }
  for (const std::string& line : lines) {
    std::printf("  %s\n", line.c_str());
  }
}

void PrintWhatWillHappen(const Settings& settings, const std::string& interface) {
  PrintList("apply-link-settings sends", ApplyCommands(settings));
  const std::string node = settings.Text("wlanUnitTestTargetNode");
  if (settings.Boolean("disableRRA") && !node.empty()) {
    PrintList("and writes to " + node + "/" + interface + "/unit_test_target",
              {std::begin(kNodeValues), std::end(kNodeValues)});
  }
  PrintList("revert-link-settings sends", RevertCommands(settings));
}

}  // namespace

ExitStatus Explain(const ExplainOptions& options) {
  TomlConfig config;
  const std::vector<ConfigProblem> problems = config.LoadWhatIsRight(options.file);
  if (!problems.empty() && problems.front().line == 0) {
    (void)std::fprintf(stderr, "wlc: %s\n", problems.front().message.c_str());
    return kExitCannotRun;
  }
  const Settings settings(config);
  std::printf("Settings in force with %s\n", options.file.c_str());
  for (const Setting& setting : kSettings) {
    std::printf("  %-24s %-16s %s\n", std::string(setting.name).c_str(),
                settings.Shown(setting).c_str(), settings.Origin(setting.name).c_str());
  }
  PrintWhatWillHappen(settings, options.interface);
  const TomlFile file = ReadTomlFile(options.file);
  std::vector<std::string> surprises = Surprises(settings, file);
  if (std::none_of(file.lines.begin(), file.lines.end(),
                   [](const auto& line) { return line.first.starts_with(SettingKey("")); })) {
    surprises.push_back(options.file + ": nothing in a table [" + std::string(kServiceTable) +
                        "]: every setting is its default");
  }
  PrintList("May surprise", surprises);
  std::vector<std::string> wrong;
  wrong.reserve(problems.size());
  for (const ConfigProblem& problem : problems) {
    wrong.push_back(problem.message);
  }
  PrintList("Wrong: wlc run does not start with this file, and the values are not in force", wrong);
  return problems.empty() ? kExitGood : kExitNegative;
}

}  // namespace host
