// How the workstation's tools refuse something: an exception with one line that says what is wrong,
// where, and what to do. wlc prints it after "wlc: " and exits with 2.
//
//   throw Refusal("{}: cannot be opened: {}", file, std::strerror(errno));
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

class Refusal : public std::runtime_error {
 public:
  template <typename... Args>
  explicit Refusal(fmt::format_string<Args...> format, Args&&... args)
      : std::runtime_error(fmt::format(format, std::forward<Args>(args)...)) {}
};
