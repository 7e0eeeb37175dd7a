#include "host/coreutils/toml_config.h"

#include "host/coreutils/lower_case.h"

namespace host {

std::optional<ConfigProblem> TomlConfig::Load(const std::string& file) {
  const TomlFile content = ReadTomlFile(file);
  if (!content.problems.empty()) {
    return content.problems.front();
  }
  Add(file, content);
  return std::nullopt;
}

std::vector<ConfigProblem> TomlConfig::LoadWhatIsRight(const std::string& file) {
  TomlFile content = ReadTomlFile(file);
  Add(file, content);
  return content.problems;
}

void TomlConfig::Add(const std::string& file, const TomlFile& content) {
  const auto origin = [&](const std::string& key) {
    return file + ":" + std::to_string(content.lines.at(key));
  };
  for (const auto& [key, value] : content.integers) {
    SetInteger(key, value, origin(key));
  }
  for (const auto& [key, value] : content.strings) {
    SetText(key, value, origin(key));
  }
}

void TomlConfig::SetInteger(const std::string& key, int64_t value, const std::string& origin) {
  const std::string lowerKey = LowerCase(key);
  const std::lock_guard<std::mutex> lock(mMutex);
  mIntegers[lowerKey] = value;
  mStrings.erase(lowerKey);
  mOrigins[lowerKey] = origin;
}

void TomlConfig::SetText(const std::string& key, const std::string& value,
                         const std::string& origin) {
  const std::string lowerKey = LowerCase(key);
  const std::lock_guard<std::mutex> lock(mMutex);
  mStrings[lowerKey] = value;
  mIntegers.erase(lowerKey);
  mOrigins[lowerKey] = origin;
}

std::string TomlConfig::OriginOf(const std::string& key) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mOrigins.find(LowerCase(key));
  return found == mOrigins.end() ? std::string() : found->second;
}

void TomlConfig::SetLogMask(uint32_t mask) {
  const std::lock_guard<std::mutex> lock(mMutex);
  mLogMask = mask;
}

}  // namespace host
