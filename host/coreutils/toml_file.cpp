#include "host/coreutils/toml_file.h"

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>

#include "host/coreutils/settings.h"

namespace host {
namespace {

constexpr size_t kMaxFileBytes = 1U << 20U;
// Dotted keys nest on one line, and the parser frees what it nested by recursion: the limit keeps
// that within any stack.
constexpr size_t kMaxLineBytes = 4096;

// `what` on one line, whatever a quoted key puts into it; line 0 is the whole file.
ConfigProblem MakeProblem(const std::string& file, uint32_t line, std::string what) {
  std::replace_if(
      what.begin(), what.end(), [](unsigned char letter) { return letter < ' ' || letter == 0x7f; },
      '?');
  return {line, file + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + what};
}

// One walk through a parsed file.
class Flattener {
 public:
  Flattener(const std::string& file, TomlFile& content) : mFile(file), mContent(content) {}

  void Walk(const toml::table& table, const std::string& prefix) {
    for (const auto& [key, node] : table) {
      Visit(prefix, key, node);
    }
  }

 private:
  void Visit(const std::string& prefix, const toml::key& key, const toml::node& node);
  bool Fits(const Setting& setting, const toml::key& key, const toml::node& node);
  void Store(const std::string& flatKey, const toml::key& key, const toml::node& node);
  void Complain(const toml::key& key, const std::string& what) {
    mContent.problems.push_back(
        MakeProblem(mFile, key.source().begin.line, std::string(key.str()) + ": " + what));
  }

  const std::string& mFile;
  TomlFile& mContent;
};

std::string TypeName(toml::node_type type) {
  switch (type) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::string:
      return "a string";
    case toml::node_type::integer:
      return "an integer";
    case toml::node_type::floating_point:
      return "a floating-point number";
    case toml::node_type::boolean:
      return "a boolean";
    default:
      return "a date or time";
  }
}

toml::node_type TypeOf(SettingType type) {
  switch (type) {
    case SettingType::kInteger:
      return toml::node_type::integer;
    case SettingType::kBoolean:
      return toml::node_type::boolean;
    default:
      return toml::node_type::string;
  }
}

const Setting* FindSetting(const std::string& flatKey) {
  const auto* found = std::find_if(kSettings.begin(), kSettings.end(), [&](const Setting& setting) {
    return SettingKey(setting.name) == flatKey;
  });
  return found == kSettings.end() ? nullptr : found;
}

void Flattener::Visit(const std::string& prefix, const toml::key& key, const toml::node& node) {
  const std::string flatKey = prefix + LowerCase(std::string(key.str()));
  const std::string serviceTable(kServiceTable);
  const bool leadsToService = (serviceTable + ".").starts_with(flatKey + ".");
  if (!leadsToService && flatKey.starts_with(serviceTable + ".")) {
    const Setting* setting = FindSetting(flatKey);
    if (setting == nullptr) {
      Complain(key, "not a setting of the service");
    } else if (Fits(*setting, key, node)) {
      Store(flatKey, key, node);
    }
  } else if (node.is_table()) {
    Walk(*node.as_table(), flatKey + ".");
  } else if (leadsToService) {
    Complain(key, "expected a table, found " + TypeName(node.type()));
  } else {
    Store(flatKey, key, node);
  }
}

bool Flattener::Fits(const Setting& setting, const toml::key& key, const toml::node& node) {
  if (node.type() != TypeOf(setting.type)) {
    Complain(key,
             "expected " + TypeName(TypeOf(setting.type)) + ", found " + TypeName(node.type()));
    return false;
  }
  const int64_t integer = node.is_integer() ? node.as_integer()->get() : 0;
  if (integer < std::numeric_limits<int32_t>::min() ||
      integer > std::numeric_limits<int32_t>::max()) {
    Complain(key, std::to_string(integer) + " is out of range, -2147483648 to 2147483647");
    return false;
  }
  return true;
}

void Flattener::Store(const std::string& flatKey, const toml::key& key, const toml::node& node) {
  if (!node.is_integer() && !node.is_boolean() && !node.is_string()) {
    return;
  }
  const auto [other, isNew] = mContent.lines.emplace(flatKey, key.source().begin.line);
  if (!isNew) {
    Complain(key, "line " + std::to_string(other->second) + " sets the same key; case is ignored");
    return;
  }
  if (node.is_string()) {
    mContent.strings[flatKey] = node.as_string()->get();
  } else if (node.is_integer()) {
    mContent.integers[flatKey] = node.as_integer()->get();
  } else {
    mContent.integers[flatKey] = node.as_boolean()->get() ? 1 : 0;
  }
}

// The whole file, or nothing and a problem.
std::optional<std::string> ReadText(const std::string& file, TomlFile& content) {
  const auto fail = [&](const std::string& what) {
    content.problems.push_back(MakeProblem(file, 0, what));
    return std::nullopt;
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "rb"),
                                                               &std::fclose);
  if (!stream) {
    return fail(std::string("cannot be opened: ") + std::strerror(errno));
  }
  std::string text;
  std::array<char, 4096> block{};
  size_t count = 0;
  while ((count = std::fread(block.data(), 1, block.size(), stream.get())) > 0) {
    text.append(block.data(), count);
    if (text.size() > kMaxFileBytes) {
      return fail("is larger than 1 MiB, no configuration is");
    }
  }
  if (std::ferror(stream.get()) != 0) {
    return fail(std::string("cannot be read: ") + std::strerror(errno));
  }
  return text;
}

// The number of the first line that is too long, or 0.
uint32_t FindLongLine(std::string_view text) {
  uint32_t number = 1;
  for (size_t begin = 0; begin < text.size(); ++number) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    if (end - begin > kMaxLineBytes) {
      return number;
    }
    begin = end + 1;
  }
  return 0;
}

}  // namespace

TomlFile ReadTomlFile(const std::string& file) {
  TomlFile content;
  const std::optional<std::string> text = ReadText(file, content);
  if (!text) {
    return content;
  }
  const auto complain = [&](uint32_t line, const std::string& what) {
    content.problems.push_back(MakeProblem(file, line, what));
  };
  if (const uint32_t line = FindLongLine(*text); line != 0) {
    complain(line, "the line is longer than 4096 bytes");
    return content;
  }
  const toml::parse_result parsed = toml::parse(*text, file);
  if (!parsed) {
    complain(parsed.error().source().begin.line, std::string(parsed.error().description()));
    return content;
  }
  Flattener(file, content).Walk(parsed.table(), "");
  std::stable_sort(content.problems.begin(), content.problems.end(),
                   [](const ConfigProblem& a, const ConfigProblem& b) { return a.line < b.line; });
  return content;
}

}  // namespace host
