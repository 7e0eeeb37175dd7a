// The configuration object of a workstation: the framework's lookups, filled from a TOML file.
//
//   host::TomlConfig config;
//   if (const auto problem = config.Load("demo.toml")) { complain(problem->message); }
//   config.SetText(host::SettingKey("wpaifPath"), "/run/wpa_supplicant", "--ctrl-dir");
//   params.configParser = &config;
//
// See toml_file.h for what a file may hold. Every call takes the object's mutex, as the lookups do.
#ifndef NUVREL_HOST_COREUTILS_TOML_CONFIG_H_
#define NUVREL_HOST_COREUTILS_TOML_CONFIG_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "framework/config_parser.h"
#include "host/coreutils/toml_file.h"

namespace host {

class TomlConfig : public nuvrel::ConfigParser {
 public:
  // Adds the values of `file`, replacing those of equal keys. With any problem in the file nothing
  // is added, and the first one is returned.
  std::optional<ConfigProblem> Load(const std::string& file);

  // Adds what is right in `file`, and returns every problem in the order of the lines.
  std::vector<ConfigProblem> LoadWhatIsRight(const std::string& file);

  // Sets one value from elsewhere. `origin` is what OriginOf then says, such as "--ctrl-dir".
  // A key holds one value: setting it as a text removes it as a number, and the other way round.
  void SetInteger(const std::string& key, int64_t value, const std::string& origin);
  void SetText(const std::string& key, const std::string& value, const std::string& origin);

  // "demo.toml:7", or the origin given to SetInteger or SetText, or "" when the key has no value.
  // The key's case does not matter.
  std::string OriginOf(const std::string& key);

  // Bit kNuvrelLogInfo: one INFO line for each successful lookup.
  void SetLogMask(uint32_t mask);

 private:
  void Add(const std::string& file, const TomlFile& content);

  std::map<std::string, std::string> mOrigins;  // by lower-case key
};

}  // namespace host

#endif  // NUVREL_HOST_COREUTILS_TOML_CONFIG_H_
