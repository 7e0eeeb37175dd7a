#include "wlc/toml_config.h"

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ASSERT(condition) static_cast<void>(0)  // it asserts on mistakes that it then reports
#include <toml++/toml.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <type_traits>

#include "config/link_configuration.h"
#include "emulated_driver/driver_model.h"
#include "emulated_driver/refusal.h"
#include "platform/lower_case.h"

namespace {

constexpr size_t kMaxBytes = 1 << 20;
// In a line; toml++ frees what is nested by recursion, and limits only the nesting of brackets.
constexpr size_t kMaxDots = 32;

std::string ReadText(const std::string& file) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "rb"),
                                                               &std::fclose);
  if (!stream) {
    throw Refusal("{}: cannot be opened: {}", file, std::strerror(errno));
  }
  std::string text;
  std::array<char, 4096> part;
  for (size_t size = part.size(); size == part.size() && text.size() <= kMaxBytes;) {
    size = std::fread(part.data(), 1, part.size(), stream.get());
    text.append(part.data(), size);
  }
  if (std::ferror(stream.get()) != 0) {
    throw Refusal("{}: cannot be read: {}", file, std::strerror(errno));
  }
  if (text.size() > kMaxBytes) {
    throw Refusal("{}: longer than {} bytes: not a file of settings", file, kMaxBytes);
  }
  size_t number = 0;
  for (const std::string_view line : SplitWords(text, '\n')) {
    ++number;
    size_t dots = 0;
    for (size_t at = line.find('.'); at != std::string_view::npos; at = line.find('.', at + 2)) {
      ++dots;
    }
    if (dots > kMaxDots) {
      throw Refusal("{}:{}: more than {} dots: nothing is nested as deep", file, number, kMaxDots);
    }
  }
  return text;
}

std::string NameOf(toml::node_type type) { return (std::ostringstream() << type).str(); }

// What is wrong with `node` as the value of the setting `flatKey`; empty when nothing is.
std::string WrongSetting(const std::string& flatKey, const toml::node& node) {
  std::string wrong = "not a setting of the service";
  LinkConfiguration fields;
  ForEachSetting(fields, [&](const char* name, auto& field) {
    using Field = std::decay_t<decltype(field)>;
    using Type = std::conditional_t<std::is_same_v<Field, int32_t>, int64_t, Field>;
    if (LowerCase(SettingKey(name)) != flatKey) {
      return;
    }
    const auto value = node.value_exact<Type>();
    if (!value) {
      wrong = fmt::format("expected {}, found {}", NameOf(toml::value<Type>().type()),
                          NameOf(node.type()));
    } else if (*value != static_cast<Type>(static_cast<Field>(*value))) {
      wrong = fmt::format("{} is out of range, -2147483648 to 2147483647", *value);
    } else {
      wrong.clear();
    }
    if (node.is_string() && node.as_string()->get().find('\0') != std::string::npos) {
      wrong = "holds a NUL character, which no path, mask or command can";
    }
  });
  return wrong;
}

// What is wrong with `node` as the value of `flatKey`, whose value so far comes from `earlier`.
std::string Wrong(const std::string& flatKey, const toml::node& node, const std::string& file,
                  const std::string& earlier) {
  if (earlier.starts_with(file + ":")) {
    return fmt::format("line {} sets the same key; case is ignored",
                       earlier.substr(file.size() + 1));
  }
  if (flatKey.starts_with(kSettingPrefix)) {
    return WrongSetting(flatKey, node);
  }
  const bool leadsToService = std::string(kSettingPrefix).starts_with(flatKey + ".");
  return leadsToService ? "expected table, found " + NameOf(node.type()) : "";
}

// Puts valid values into `config` and problems, by line, into `problems`.
void Read(const toml::table& table, const std::string& prefix, const std::string& file,
          TomlConfig& config, std::multimap<uint32_t, std::string>& problems) {
  for (const auto& [key, node] : table) {
    const uint32_t line = key.source().begin.line;
    const std::string flatKey = prefix + LowerCase(std::string(key.str()));
    const std::string origin = fmt::format("{}:{}", file, line);
    if (node.is_table() && !flatKey.starts_with(kSettingPrefix)) {
      Read(*node.as_table(), flatKey + ".", file, config, problems);
    } else if (const auto wrong = Wrong(flatKey, node, file, config.OriginOf(flatKey));
               !wrong.empty()) {
      problems.emplace(line, fmt::format("{}: {}: {}", origin, key.str(), wrong));
    } else if (node.is_string()) {
      config.Set(flatKey, node.as_string()->get(), origin);
    } else if (node.is_integer() || node.is_boolean()) {
      config.Set(flatKey, *node.value<int64_t>(), origin);
    }
  }
}

}  // namespace

std::vector<std::string> TomlConfig::Load(const std::string& file) {
  const toml::parse_result parsed = toml::parse(ReadText(file), file);
  if (!parsed) {
    const toml::parse_error& error = parsed.error();
    return {fmt::format("{}:{}: {}", file, error.source().begin.line, error.description())};
  }
  std::multimap<uint32_t, std::string> byLine;
  Read(parsed.table(), "", file, *this, byLine);
  std::vector<std::string> problems;
  for (const auto& [line, problem] : byLine) {
    problems.push_back(problem);
  }
  return problems;
}

void TomlConfig::Set(const std::string& key, const std::variant<int64_t, std::string>& value,
                     const std::string& origin) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const std::string lowerKey = LowerCase(key);
  if (const auto* integer = std::get_if<int64_t>(&value)) {
    mIntegers[lowerKey] = *integer;
  } else {
    mStrings[lowerKey] = std::get<std::string>(value);
  }
  mOrigins[lowerKey] = origin;
}

std::string TomlConfig::OriginOf(const std::string& key) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mOrigins.find(LowerCase(key));
  return found == mOrigins.end() ? "" : found->second;
}

std::string TomlConfig::TextAsSet(const std::string& key) {
  const std::lock_guard<std::mutex> lock(mMutex);
  const auto found = mStrings.find(LowerCase(key));
  return found == mStrings.end() ? "" : found->second;
}

void TomlConfig::SetLogMask(uint32_t mask) {
  const std::lock_guard<std::mutex> lock(mMutex);
  mLogMask = mask;
}
