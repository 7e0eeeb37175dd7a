// Regular expressions in ECMAScript's grammar, such as "\((.*?)\)", made ready for a search.
//
// Apart from the search, which takes most of an init-lapb-flow's time: making one ready is quick,
// but most of the library's code, and so compiled for size.
#ifndef NUVREL_LAPB_MESSAGE_PATTERN_H_
#define NUVREL_LAPB_MESSAGE_PATTERN_H_

#include <regex>
#include <string>

// Throws std::regex_error when `pattern` is no regular expression.
std::regex CompilePattern(const std::string& pattern);

#endif  // NUVREL_LAPB_MESSAGE_PATTERN_H_
