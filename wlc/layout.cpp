#include "wlc/layout.h"

#include <unistd.h>

#include <cstdlib>

std::string Painted(std::FILE* stream, fmt::text_style style, const std::string& text) {
  static const char* const refused = std::getenv("NO_COLOR");
  const bool colour = isatty(fileno(stream)) == 1 && (refused == nullptr || *refused == '\0');
  return fmt::format(colour ? style : kPlain, "{}", text);
}

std::string Wrapped(std::string text, size_t indent) {
  size_t begin = 0;
  while (text.size() - begin > kColumns - indent) {
    size_t blank = text.rfind(' ', begin + kColumns - indent);
    if (blank == std::string::npos || blank < begin) {
      blank = text.find(' ', begin);
    }
    if (blank == std::string::npos) {
      break;
    }
    text.replace(blank, 1, "\n" + std::string(indent, ' '));
    begin = blank + 1 + indent;
  }
  return text;
}

std::string Labelled(std::FILE* stream, std::string_view label, fmt::text_style style,
                     const std::string& text) {
  return "      " + Painted(stream, kFaint, fmt::format("{:9}", label)) +
         Painted(stream, style, text);
}
