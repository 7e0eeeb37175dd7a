// The configuration object of a workstation: the framework's lookups, filled from a TOML file.
//
//   demo.toml, line 7: wlanXRLatencyMode = "two"   under [nuvrel.services.wirelesslinkconfig]
//   gives the problem: demo.toml:7: wlanXRLatencyMode: expected integer, found string
//
// Nested tables become keys with dots. The service's own table may hold only its nine settings,
// each with its own type. Of other tables, integers, booleans and strings are kept and the rest
// ignored. Limits: 1 MiB a file, integers of the settings 32 bits.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "framework/config_parser.h"
#include "framework/thread_annotations.h"

// Any thread may call these; each holds mMutex, as the lookups do.
class TomlConfig : public nuvrel::ConfigParser {
 public:
  // Adds the valid values of `file`. Returns the problems, one line each, in the order of the file.
  // Throws a Refusal when the file cannot be read.
  std::vector<std::string> Load(const std::string& file);

  // Sets one value that is not from a file. It replaces a value of the same type.
  void Set(const std::string& key, const std::variant<int64_t, std::string>& value,
           const std::string& origin);

  // "demo.toml:7", or the origin given to Set, or "" when the key has no value.
  std::string OriginOf(const std::string& key);
  // The text as it was set, while a lookup may return it in lower case; "" when there is none.
  std::string TextAsSet(const std::string& key);

  // With bit kNuvrelLogInfo, each successful lookup logs one INFO line.
  void SetLogMask(uint32_t mask);

 private:
  std::map<std::string, std::string> mOrigins GUARDED_BY(mMutex);  // by lower-case key
};
