// What happens in a session, told to whoever prints or records it.
//
// The session calls, in order: OnStart once; for each command OnCommandBegin, then OnExchange and
// OnWait as they pass, then OnCommandEnd with the whole command once more; OnFinish once. OnLogLine
// may come at any moment between. All on the thread that plays the session.
//
// The text, the JSON lines and the trace are three outputs of this one stream.
#ifndef NUVREL_HOST_RUNNER_SESSION_OUTPUT_H_
#define NUVREL_HOST_RUNNER_SESSION_OUTPUT_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/runner/session_command.h"

namespace host {

using TimePoint = std::chrono::steady_clock::time_point;

struct Interval {
  TimePoint begin;
  TimePoint end;

  double Microseconds() const {
    return std::chrono::duration<double, std::micro>(end - begin).count();
  }
};

struct Exchange {
  std::string command;  // such as "DRIVER SET_LATENCY_MODE 2"
  std::string reply;    // without its line end; empty when there was none
  int32_t result;       // negative when refused or not answered
  Interval time;
};

struct Wait {
  std::string prefix;
  std::string message;  // empty when none came
  int32_t result;       // negative when none came
  Interval time;
};

// The driver's STATUS, in its own order: "latency_mode" = "2" and so on.
using StatusLines = std::vector<std::pair<std::string, std::string>>;

struct SessionInfo {
  std::string library;
  std::string settings;  // where they come from
  std::string driver;    // which, and at what path
  std::string addresses;
};

struct CommandReport {
  uint32_t number = 0;  // counted from 1
  Command command;
  int32_t status = -1;
  Interval time;
  std::vector<Exchange> exchanges;
  std::vector<Wait> waits;
  bool checked = false;                  // the driver was asked whether it did as reported
  std::vector<std::string> differences;  // what it holds otherwise, one sentence each
  // Counted by the driver; without a value where it was not asked or does not tell.
  std::optional<uint32_t> policies;
  std::optional<uint32_t> serviceClasses;
};

enum class LogLevel { kDebug, kInfo, kWarn, kError };

struct LogLine {
  LogLevel level;
  std::string tag;
  std::string text;
  TimePoint time;
};

class SessionOutput {
 public:
  virtual ~SessionOutput() = default;
  virtual void OnStart(const SessionInfo& /*info*/) {}
  virtual void OnCommandBegin(uint32_t /*number*/, const Command& /*command*/) {}
  virtual void OnExchange(const Exchange& /*exchange*/) {}
  virtual void OnWait(const Wait& /*wait*/) {}
  virtual void OnCommandEnd(const CommandReport& /*report*/) {}
  virtual void OnLogLine(const LogLine& /*line*/) {}
  // Something the person should know that belongs to no command.
  virtual void OnNotice(const std::string& /*text*/) {}
  // `state` is empty when the driver could not be asked.
  virtual void OnFinish(const StatusLines& /*state*/) {}
};

}  // namespace host

#endif  // NUVREL_HOST_RUNNER_SESSION_OUTPUT_H_
