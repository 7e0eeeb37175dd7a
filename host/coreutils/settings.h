// The nine settings of the wireless link configuration service, as a configuration file gives them.
//
//   [nuvrel.services.wirelesslinkconfig]
//   wlanXRLatencyMode = 2
//
// is the key "nuvrel.services.wirelesslinkconfig.wlanxrlatencymode". The service holds the defaults
// itself: those here are for showing to a person.
#ifndef NUVREL_HOST_COREUTILS_SETTINGS_H_
#define NUVREL_HOST_COREUTILS_SETTINGS_H_

#include <array>
#include <string>
#include <string_view>

#include "host/coreutils/lower_case.h"

namespace host {

enum class SettingType { kInteger, kBoolean, kText };

struct Setting {
  std::string_view name;  // as the service asks for it; a file may write it in any case
  SettingType type;
  std::string_view defaultText;
};

inline constexpr std::string_view kServiceTable = "nuvrel.services.wirelesslinkconfig";

inline constexpr std::array<Setting, 9> kSettings = {{
    {"wpaifPath", SettingType::kText, ""},
    {"wlanXRLatencyMode", SettingType::kInteger, "2"},
    {"wlanNormalLatencyMode", SettingType::kInteger, "1"},
    {"wlanEnableTsf", SettingType::kBoolean, "false"},
    {"wlanTsfSyncInterval", SettingType::kInteger, "3000"},
    {"wlanSetRatemask", SettingType::kText, "0x003FC0FF"},
    {"wlanOriginalRatemask", SettingType::kText, "0xFFFFFFFF"},
    {"disableRRA", SettingType::kBoolean, "false"},
    {"wlanUnitTestTargetNode", SettingType::kText, ""},
}};

// The whole key of the setting `name`, in lower case.
inline std::string SettingKey(std::string_view name) {
  return LowerCase(std::string(kServiceTable) + "." + std::string(name));
}

}  // namespace host

#endif  // NUVREL_HOST_COREUTILS_SETTINGS_H_
