// Lower case as the configuration knows it: A to Z, no other byte, whatever the locale.
#pragma once

#include <string>

inline std::string LowerCase(std::string text) {
  for (char& letter : text) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return text;
}
