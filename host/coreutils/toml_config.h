// The configuration object of a workstation: the framework's lookups, filled from a TOML file.
//
//   demo.toml, line 7: wlanXRLatencyMode = "two"   under [nuvrel.services.wirelesslinkconfig]
//   gives the problem: demo.toml:7: wlanXRLatencyMode: expected integer, found string
//
// Nested tables become keys with dots. Integers, booleans and strings are kept, other values of
// other tables are ignored; the service's own table may hold only its nine settings, each in its
// type. Limits: 4096 bytes a line, integers of the settings 32 bits.
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
  // Adds what is right in `file` and returns what is wrong, one line for each problem, in the order
  // of the file. Throws a Refusal when the file cannot be read.
  std::vector<std::string> Load(const std::string& file);

  // Sets one value from elsewhere, replacing one of the same type. `origin` is for OriginOf.
  void Set(const std::string& key, const std::variant<int64_t, std::string>& value,
           const std::string& origin);

  // "demo.toml:7", or the origin given to Set, or "" when the key has no value.
  std::string OriginOf(const std::string& key);
  // The text as it was set, with its capitals, which a lookup may change; "" when there is none.
  std::string TextAsSet(const std::string& key);

  // Bit kNuvrelLogInfo: one INFO line for each successful lookup.
  void SetLogMask(uint32_t mask);

 private:
  std::map<std::string, std::string> mOrigins GUARDED_BY(mMutex);  // by lower-case key
};
