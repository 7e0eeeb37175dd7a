// The seven commands of the service as a person writes them, and the steps of a session.
//
// Words come in, steps go out. Example:
//   repeat 3 add-lapb-policy 5000 160 184 20
// is one step: three times the command 6 with the parameters 5000, 160, 184 and 20. A step is a
// command with its parameters, `sleep MS`, or `repeat N` before either. The same grammar holds for
// the words of a command line (any number of steps) and for a line of a script (one step).
//
// Everything is checked here, before anything is run: unknown words, missing parameters, numbers
// out of range.
#ifndef NUVREL_HOST_RUNNER_SESSION_COMMAND_H_
#define NUVREL_HOST_RUNNER_SESSION_COMMAND_H_

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/nuvrel_packet.h"

namespace host {

constexpr size_t kMaxParameters = 4;

// One parameter: a decimal number that travels as 32 bits.
struct ParameterForm {
  const char* usage;  // as in the usage line, such as "PORT"
  const char* name;   // as printed, such as "port"
  int64_t min;
  int64_t max;
};

struct CommandForm {
  const char* name;
  NUVREL_WLC_CMD value;
  std::span<const ParameterForm> parameters;  // at most kMaxParameters
  const char* summary;
};

// All commands, in the order of their values.
std::span<const CommandForm> AllCommands();

struct Command {
  const CommandForm* form = nullptr;  // never null in a parsed step
  std::array<int64_t, kMaxParameters> values{};

  // The command as it was written, such as "add-lapb-policy 5000 160 184 20".
  std::string Text() const;
};

// Either a command or, without one, a pause.
struct Step {
  std::optional<Command> command;
  std::chrono::milliseconds pause{0};
  uint32_t times = 1;
};

// Appends the steps in `words` to `steps`. False when a word is not understood: `error` then says
// which and what was expected, and `steps` is to be thrown away.
bool ParseSteps(std::span<const std::string> words, std::vector<Step>& steps, std::string& error);

// The words of `text`, split at blanks and tabs.
std::vector<std::string> SplitWords(std::string_view text);

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_SESSION_COMMAND_H_
