// Text from outside, such as answers, settings, file names and arguments, as a person may see it.
// Anything that is not printable UTF-8 is escaped, so that it cannot control the terminal or start
// a new line:
//   cookie=1\nwlc: \x9b2J
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
