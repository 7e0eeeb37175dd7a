#include "wlc/surprises.h"

#include <fmt/format.h>

#include "config/link_configuration.h"
#include "emulated_driver/driver_model.h"
#include "platform/lower_case.h"

namespace {

// Why an allowed value may not do what its writer meant; empty when there is no such reason.
std::string Surprise(TomlConfig& config, const std::string& name, const std::string& value) {
  const std::string text = config.TextAsSet(SettingKey(name));
  const bool isMask = LowerCase(value).starts_with("0x") && value.size() <= 10 &&
                      ParseNumber(value.substr(2), UINT32_MAX, 16);
  if (name.ends_with("mask") && !isMask) {
    return fmt::format("\"{}\" is not a mask of 0x and 1 to 8 hexadecimal digits", value);
  }
  if (name.ends_with("Node") && text != value) {
    return fmt::format("reaches the service in lower case, as \"{}\"", value);
  }
  if (name == "disableRRA" && value == "true" &&
      config.TextAsSet(SettingKey("wlanUnitTestTargetNode")).empty()) {
    return "apply fails without a wlanUnitTestTargetNode";
  }
  if (text.empty() && value.starts_with('-')) {
    return fmt::format("{} reaches the driver as {}", value,
                       static_cast<uint32_t>(std::stoi(value)));
  }
  return "";
}

}  // namespace

std::vector<std::string> Surprises(const std::string& file, bool anyWrong, TomlConfig& config) {
  std::vector<std::string> surprises;
  bool anySet = false;
  LinkConfiguration settings;
  ForEachSetting(settings, [&](const std::string& name, auto& value) {
    config.getProperty(SettingKey(name), value);
    const std::string origin = config.OriginOf(SettingKey(name));
    const std::string surprise = Surprise(config, name, fmt::format("{}", value));
    anySet = anySet || !origin.empty();
    if (!surprise.empty()) {
      surprises.push_back(fmt::format("{}: {}: {}", origin, name, surprise));
    }
  });
  if (!anySet && !anyWrong) {
    surprises.push_back(file +
                        ": nothing in a table [nuvrel.services.wirelesslinkconfig]: "
                        "every setting is its default");
  }
  return surprises;
}
