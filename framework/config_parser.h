// The framework's configuration object, from libnuvrelcoreutils.so: typed settings by key.
//
// A key is matched without regard to the case of its ASCII letters. Integers and truth values share
// one table, texts have another, so a number is never found by a text lookup nor a text by a number
// lookup. Example: wlanXRLatencyMode = 2 is found by the int and bool lookups, "0x3F" by the text
// one. A text arrives in lower case unless its key ends in "path".
//
// The key of a setting is the service's prefix and the setting's name, such as
// "nuvrel.services.wirelesslinkconfig.wlanXRLatencyMode". The framework fills the tables, from a
// class derived from this one, before it creates the service, and keeps the object as long as the
// service:
//   mIntegers["nuvrel.services.wirelesslinkconfig.wlanxrlatencymode"] = 2;   // lower case
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "framework/thread_annotations.h"

namespace nuvrel {

class ConfigParser {
 public:
  // Each returns 0 and writes `value` when the key is present, or returns -1 and leaves `value`
  // alone. Any thread may call them; each holds mMutex for its own run.
  int getProperty(const std::string& key, std::string& value);
  int getProperty(const std::string& key, int32_t& value);  // the low 32 bits of the stored integer
  int getProperty(const std::string& key, bool& value);  // whether the stored integer is not zero

 protected:
  uint32_t mLogMask GUARDED_BY(mMutex) = 0;  // value 4: one INFO line for each successful lookup
  std::map<std::string, int64_t> mIntegers GUARDED_BY(mMutex);     // by lower-case key
  std::map<std::string, std::string> mStrings GUARDED_BY(mMutex);  // by lower-case key
  std::mutex mMutex;
};

}  // namespace nuvrel
