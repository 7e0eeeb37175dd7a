// The lookups of the configuration object. A derived class fills its tables.
#pragma GCC visibility push(default)
#include "framework/config_parser.h"
#pragma GCC visibility pop

#include <android/log.h>

#include "framework/log_level.h"
#include "host/coreutils/lower_case.h"

namespace nuvrel {
namespace {

void LogInteger(const char* function, const std::string& key, int32_t value) {
  __android_log_print(ANDROID_LOG_INFO, nullptr, "%s - %s(int): %ld\n", function, key.c_str(),
                      static_cast<long>(value));
}

}  // namespace

int ConfigParser::getProperty(const std::string& key, std::string& value) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const std::string lowerKey = host::LowerCase(key);
  const auto found = mStrings.find(lowerKey);
  if (found == mStrings.end()) {
    return -1;
  }
  // Paths keep their case, as the file system needs it; all other texts are given in lower case.
  value = lowerKey.ends_with("path") ? found->second : host::LowerCase(found->second);
  if ((mLogMask & kNuvrelLogInfo) != 0) {
    __android_log_print(ANDROID_LOG_INFO, nullptr, "%s - %s(string): %s\n", __func__, key.c_str(),
                        value.c_str());
  }
  return 0;
}

int ConfigParser::getProperty(const std::string& key, int32_t& value) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mIntegers.find(host::LowerCase(key));
  if (found == mIntegers.end()) {
    return -1;
  }
  value = static_cast<int32_t>(found->second);
  if ((mLogMask & kNuvrelLogInfo) != 0) {
    LogInteger(__func__, key, value);
  }
  return 0;
}

int ConfigParser::getProperty(const std::string& key, bool& value) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mIntegers.find(host::LowerCase(key));
  if (found == mIntegers.end()) {
    return -1;
  }
  value = found->second != 0;
  if ((mLogMask & kNuvrelLogInfo) != 0) {
    LogInteger(__func__, key, value ? 1 : 0);
  }
  return 0;
}

}  // namespace nuvrel
