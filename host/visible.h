// Shows a person text from outside: answers, settings, names of files, arguments. What is no
// printable UTF-8 is escaped, so that it can neither drive a terminal nor begin a line of its own:
//   "cookie=1\nwlc: \x9b2J" as it is written here
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

inline std::string Visible(std::string_view text) {
  const std::string quoted = fmt::format("{:?}", text);
  std::string visible;
  for (size_t i = 1; i + 1 < quoted.size(); ++i) {
    // Quotation marks and backslashes of the text itself stay as they are.
    i += quoted[i] == '\\' && (quoted[i + 1] == '"' || quoted[i + 1] == '\\') ? 1 : 0;
    visible += quoted[i];
  }
  return visible;
}
