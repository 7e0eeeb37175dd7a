// Lower case as the keys of the configuration use it: A to Z only, in every locale.
#pragma once

#include <string>

inline std::string LowerCase(std::string text) {
  for (char& letter : text) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return text;
}
