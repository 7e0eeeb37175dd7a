#include "lapb/message_pattern.h"

std::regex CompilePattern(const std::string& pattern) { return std::regex(pattern); }
