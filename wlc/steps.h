// The steps of a session, and the seven commands of the service as a person writes them.
//
//   add-lapb-policy 5000 160 184 20   # video
//   sleep 100
//   repeat 10 apply-link-settings
//   expect status 0               # of the last command
//   expect policies 1             # or any other key of the driver's state
// A line holds any number of steps; "#" starts a comment. Unknown words, missing parameters and
// numbers out of range are refused here, before anything is run.
#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/nuvrel_packet.h"

// One parameter: a decimal number that travels as 32 bits.
struct ParameterForm {
  std::string_view usage;  // as in the usage line, such as "PORT"
  std::string_view name;   // as printed, such as "port"
  int64_t min;
  int64_t max;
};

// The value of `sleep`, which is not sent to the service.
inline constexpr NUVREL_WLC_CMD kSleep{};

struct CommandForm {
  std::string_view name;
  NUVREL_WLC_CMD value;
  std::span<const ParameterForm> parameters;  // at most four
  std::string_view summary;
};

// How a session ends, in reports only: the framework releases the service.
inline constexpr CommandForm kRelease{"release", {}, {}, {}};

// All commands, in the order of their values, and `sleep`.
std::span<const CommandForm> AllCommands();

struct Command {
  const CommandForm* form = nullptr;
  std::array<int64_t, 4> values{};

  // The command as it was written, such as "add-lapb-policy 5000 160 184 20".
  std::string Text() const;
  // The request, without a connection.
  NuvrelPkt_t Packet() const;
};

// What `expect` says about the last command's status or the driver's state.
struct Expectation {
  std::string key;
  std::string value;
  std::string where;  // it is written, such as "streaming.wlc:7: "
};

struct Step {
  Command command;  // without a form it is an expectation
  uint32_t times = 1;
  Expectation expectation;
};

// A whole session that sends every driver command: a policy for a latency that the driver has a
// class for, one for a new latency, and a port that is bound a second time.
inline constexpr std::string_view kBuiltInSession =
    "init init-lapb-flow apply-link-settings add-lapb-policy 5000 160 184 20 "
    "add-lapb-policy 5002 160 184 30 add-lapb-policy 5000 160 184 30 clear-lapb-policies "
    "revert-link-settings deinit";

// The steps of one line, or a Refusal that says what was expected.
std::vector<Step> ParseSteps(std::string_view line);

// Reads the next line of the script `name` and adds its steps to `steps`; false at the end. A
// Refusal names the line, whose number is `line`.
bool ReadLine(std::istream& input, const std::string& name, unsigned line,
              std::vector<Step>& steps);
