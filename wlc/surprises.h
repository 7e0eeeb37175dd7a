// What in a file of settings is allowed, but may not do what its writer meant, one line each:
//
//   demo.toml:3: wlanUnitTestTargetNode: reaches the service in lower case, as "/sys/wlan"
#pragma once

#include <string>
#include <vector>

#include "wlc/toml_config.h"

// `config` holds the valid settings of `file`, before anything else is set; `anyWrong` says that
// the file has others.
std::vector<std::string> Surprises(const std::string& file, bool anyWrong, TomlConfig& config);
