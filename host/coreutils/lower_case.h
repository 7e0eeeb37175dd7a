// Lower case as the configuration knows it: A to Z, no other byte, whatever the locale.
#ifndef NUVREL_HOST_COREUTILS_LOWER_CASE_H_
#define NUVREL_HOST_COREUTILS_LOWER_CASE_H_

#include <string>

namespace host {

inline std::string LowerCase(std::string text) {
  for (char& letter : text) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return text;
}

}  // namespace host

#endif  // NUVREL_HOST_COREUTILS_LOWER_CASE_H_
