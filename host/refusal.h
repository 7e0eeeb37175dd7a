// The one way in which the workstation's tools refuse something: an exception whose text is one
// line that says what, where and what to do. wlc prints it behind "wlc: " and exits with 2.
//
//   throw Refusal("{}: cannot be opened: {}", file, std::strerror(errno));
#ifndef NUVREL_HOST_REFUSAL_H_
#define NUVREL_HOST_REFUSAL_H_

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace host {

class Refusal : public std::runtime_error {
 public:
  template <typename... Args>
  explicit Refusal(fmt::format_string<Args...> format, Args&&... args)
      : std::runtime_error(fmt::format(format, std::forward<Args>(args)...)) {}
};

}  // namespace host

#endif  // NUVREL_HOST_REFUSAL_H_
