// Reading the settings from the framework's configuration object.
#include <string>
#include <type_traits>
#include <utility>

#include "framework/config_parser.h"
#include "service/log.h"
#include "service/wireless_link_config_service.h"

namespace {

const char* Text(bool value) { return value ? "true" : "false"; }

}  // namespace

void WirelessLinkConfigService::LoadConfig() {
  if (mConfigParser == nullptr) {
    LOGE("WirelessLingConfig service config parser is invalid.");
    delete mLinkConfig;
    Set(mLinkConfig, nullptr);
    return;
  }
  if (mLinkConfig == nullptr) {
    Set(mLinkConfig, new LinkConfiguration);
  }
  LinkConfiguration& config = *mLinkConfig;
  ForEachSetting(config, [this](const char* name, auto& field) {
    std::decay_t<decltype(field)> value{};
    if (mConfigParser->getProperty(SettingKey(name), value) == 0) {
      field = std::move(value);
    }
  });

  mWpaCtrlPath = config.wpaifPath + "/" + mInterfaceName;

  LOGI(
      "WirelessLinkConfigService configurations\n"
      "\tInterfaceName: %s                    \n"
      "\tWPA control interface path: %s\n"
      "\tXR Latency mode: %d\n"
      "\tNormal Latency mode: %d                    \n"
      "\tEnable TSF: %s\n"
      "\tTSF Sync interval: %d\n"
      "\tSET Ratemask: %s                    \n"
      "\tOriginal Ratemask: %s\n"
      "\tDisable RRA: %s\n"
      "\tWlan unit test target node: %s",
      mInterfaceName.c_str(), mWpaCtrlPath.c_str(), config.wlanXRLatencyMode,
      config.wlanNormalLatencyMode, Text(config.wlanEnableTsf), config.wlanTsfSyncInterval,
      config.wlanSetRatemask.c_str(), config.wlanOriginalRatemask.c_str(), Text(config.disableRRA),
      config.wlanUnitTestTargetNode.c_str());
}
