// The nine settings of the service, with their defaults.
//
// They come from the framework's configuration object, where the key of each is kSettingPrefix and
// the name of the field, and reach the driver as they are: wlanXRLatencyMode = 2 is sent as
// DRIVER SET_LATENCY_MODE 2. Nothing checks them on the way.
#pragma once

#include <cstdint>
#include <string>

inline constexpr char kSettingPrefix[] = "nuvrel.services.wirelesslinkconfig.";
inline std::string SettingKey(const std::string& name) { return kSettingPrefix + name; }

struct LinkConfiguration {
  std::string wpaifPath;               // directory of the supplicant's control sockets
  int32_t wlanXRLatencyMode = 2;       // driver latency mode while applied
  int32_t wlanNormalLatencyMode = 1;   // driver latency mode after revert
  bool wlanEnableTsf = false;          // TSF synchronisation: start on apply, stop on revert
  int32_t wlanTsfSyncInterval = 3000;  // in the driver's own unit
  std::string wlanSetRatemask = "0x003FC0FF";       // while applied; text as the driver takes it
  std::string wlanOriginalRatemask = "0xFFFFFFFF";  // after revert
  bool disableRRA = false;             // write the driver's unit_test_target node on apply
  std::string wlanUnitTestTargetNode;  // directory above <interface>/unit_test_target
};

// Calls visit(name, field) for each setting, in the order in which the service looks them up. The
// field is a std::string, an int32_t or a bool.
template <typename Visit>
void ForEachSetting(LinkConfiguration& config, Visit visit) {
  visit("wpaifPath", config.wpaifPath);
  visit("wlanXRLatencyMode", config.wlanXRLatencyMode);
  visit("wlanNormalLatencyMode", config.wlanNormalLatencyMode);
  visit("wlanEnableTsf", config.wlanEnableTsf);
  visit("wlanTsfSyncInterval", config.wlanTsfSyncInterval);
  visit("wlanSetRatemask", config.wlanSetRatemask);
  visit("wlanOriginalRatemask", config.wlanOriginalRatemask);
  visit("disableRRA", config.disableRRA);
  visit("wlanUnitTestTargetNode", config.wlanUnitTestTargetNode);
}
