// The log mask, and the lookups of the configuration object, whose tables a derived class fills.
#pragma GCC visibility push(default)
#include "framework/config_parser.h"
#include "framework/log_level.h"
#pragma GCC visibility pop

#include <android/log.h>

#include "platform/lower_case.h"

// The default: errors and warnings.
uint32_t gNuvrelLogLevel = kNuvrelLogError | kNuvrelLogWarn;

namespace nuvrel {
namespace {

void Log(uint32_t mask, const std::string& key, const char* type, const std::string& value) {
  if ((mask & kNuvrelLogInfo) != 0) {
    __android_log_print(ANDROID_LOG_INFO, nullptr, "getProperty - %s(%s): %s\n", key.c_str(), type,
                        value.c_str());
  }
}

}  // namespace

int ConfigParser::getProperty(const std::string& key, std::string& value) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mStrings.find(LowerCase(key));
  if (found == mStrings.end()) {
    return -1;
  }
  // Paths keep their case for the file system; all other texts are returned in lower case.
  value = found->first.ends_with("path") ? found->second : LowerCase(found->second);
  Log(mLogMask, key, "string", value);
  return 0;
}

int ConfigParser::getProperty(const std::string& key, int32_t& value) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mIntegers.find(LowerCase(key));
  if (found == mIntegers.end()) {
    return -1;
  }
  value = static_cast<int32_t>(found->second);
  Log(mLogMask, key, "int", std::to_string(value));
  return 0;
}

int ConfigParser::getProperty(const std::string& key, bool& value) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mIntegers.find(LowerCase(key));
  if (found == mIntegers.end()) {
    return -1;
  }
  value = found->second != 0;
  Log(mLogMask, key, "int", value ? "1" : "0");
  return 0;
}

}  // namespace nuvrel
