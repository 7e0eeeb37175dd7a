// The events of a session, and the interface of the outputs that print or record them.
//
// The session calls, in this order: OnStart once; for each command OnCommandBegin, OnExchange for
// each exchange as it happens, then OnCommandEnd with the whole command; the same for `release`
// when that reaches the driver; OnFinish once. OnLogLine may come at any time in between. All calls
// are on the thread that plays the session.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "emulated_driver/driver_model.h"
#include "emulated_driver/fault_rule.h"
#include "platform/exchange_observer.h"
#include "wlc/steps.h"

using TimePoint = std::chrono::steady_clock::time_point;

inline double Microseconds(TimePoint begin, TimePoint end) {
  return std::chrono::duration<double, std::micro>(end - begin).count();
}

// What an exchange is about: SET_LATENCY_MODE or <3>SVC-EVENT:.
inline std::string Topic(const Exchange& exchange) {
  const size_t begin = exchange.asked.find(' ') + 1;
  return exchange.asked.substr(begin, exchange.asked.find(' ', begin) - begin);
}

struct SessionInfo {
  std::string library;
  std::string settings = "built-in defaults";  // where they come from
  std::string driver;                          // which, and at what path
  std::string self;                            // address of this device
  std::string peer;
  std::vector<std::string> surprises = {};  // in the settings; notices say them
  bool showsPath = true;                    // of the socket, in notices
};

struct CommandReport {
  uint32_t number = 0;  // counted from 1; 0 for `release`
  Command command;
  int32_t status = -1;
  TimePoint begin = {};
  TimePoint end = {};
  std::vector<Exchange> exchanges = {};  // and waits, as they passed
  bool unchecked = false;  // the driver should have been checked, but did not report its state
  bool checked = false;    // the driver's state was compared
  std::vector<std::string> differences = {};  // between driver and report, one sentence each
  size_t asBefore = 0;                        // how many of them, the last, were there before
  bool expected = false;                      // its negative status was
  StatusLines state = {};                     // of the driver, if it was asked
};

struct SessionEnd {
  uint32_t commands = 0;
  uint32_t failed = 0;          // those with a negative status that was not expected
  uint32_t expectedFailed = 0;  // those with one that was
  uint32_t differing = 0;       // those after which the driver differs
  uint32_t unchecked = 0;
  size_t surprises = 0;                 // in the settings
  double microseconds = 0;              // in the service
  std::vector<std::string> unmet = {};  // the expectations that were not, one sentence each
  StatusLines state = {};               // of the driver; empty when it could not be asked
  std::vector<FaultRule> faults = {};   // of the emulated driver
  bool interrupted = false;             // a signal ended it early
  std::string strictFailure = {};  // what --strict finds wrong; empty when nothing, or not asked
};

struct LogLine {
  const char* level;  // DEBUG, INFO, WARN or ERROR
  std::string tag;
  std::string text;
};

// The value that the service has written to the driver's unit_test_target node, when `line` is the
// one that it logs after each write; otherwise empty.
inline std::string NodeValue(const LogLine& line) {
  constexpr std::string_view kWritten = "set unit test target values = ";
  const size_t begin = line.text.find(kWritten);
  return begin == std::string::npos ? "" : line.text.substr(begin + kWritten.size());
}

class SessionOutput {
 public:
  virtual ~SessionOutput() = default;
  virtual void OnStart(const SessionInfo& /*info*/) {}
  virtual void OnCommandBegin(uint32_t /*number*/, const Command& /*command*/) {}
  virtual void OnExchange(const Exchange& /*exchange*/) {}
  virtual void OnCommandEnd(const CommandReport& /*report*/) {}
  // Warnings, errors, and the lines with a NodeValue.
  virtual void OnLogLine(const LogLine& /*line*/) {}
  // Something that the person should know.
  virtual void OnNotice(const std::string& /*text*/) {}
  virtual void OnFinish(const SessionEnd& /*end*/) {}
};

using SessionOutputs = std::vector<std::unique_ptr<SessionOutput>>;

// The outputs: for a person, for a script, for a trace viewer.

// Lines on standard output as things happen; colours on a terminal only, and none with NO_COLOR in
// the environment:
//    6  add-lapb-policy   port 5000, special ToS 160, default ToS 184, latency 20
//       sends    DRIVER POLICY_ADD policy_type ipv4 src_ip 192.168.49.1 ...
//       answer   cookie=p1                                                 0.12 ms
//       status   0, done                                                   0.34 ms
std::unique_ptr<SessionOutput> MakeTextOutput(bool times = true);

// For a long session: a table at the end instead of each command, with a row for each command, each
// driver command and the messages waited for. Shows progress when standard error is a terminal.
// Keeps every time until the end, in 8 bytes:
//   times in ms             how often  failed    least   median     99 % greatest
//   add-lapb-policy                 3       0    0.019    0.022    0.044    0.044
std::unique_ptr<SessionOutput> MakeSummaryOutput();

// One JSON object a line, on standard output: at the start, for each command, for each OnLogLine
// and at the end. Notices go to standard error. Wrapped here:
//   {"kind":"start","version":"1.0","library":"lib/...","settings":"built-in defaults",
//    "driver":"emulated, at ...","self":"192.168.49.1","peer":"192.168.49.2"}
//   {"kind":"log","level":"WARN","tag":"libnuvrel...","text":"[ApplyLinkSettings:51] Failed ..."}
//   {"kind":"command","command":"apply-link-settings","parameters":{},"status":0,"microseconds":812,
//    "exchanges":[{"command":"DRIVER SET_LATENCY_MODE 2","reply":"OK","result":0,
//                  "microseconds":120}],
//    "waits":[],"checked":true,"differences":[]}
//   {"kind":"end","interrupted":false,"driver":{"latency_mode":"2",...},
//    "faults":[{"rule":"PING:fail","fired":0}],"unmet":["expected policies 0, found 1"],
//    "strict":"fault PING:fail never fired"}
// "waits" are waits for driver messages: prefix, message, result, microseconds.
// Without `times` no "microseconds" are written.
std::unique_ptr<SessionOutput> MakeJsonOutput(bool times);

// A file in the Chrome trace event format: the tracks "commands", "driver exchanges" and "waiting
// for driver messages", log lines as instants, "policies" and "service_classes" as
// counters.
//   {"ph":"X","pid":1,"tid":2,"name":"SET_LATENCY_MODE","ts":812.4,"dur":95.1,"args":{...}}
// Times are microseconds from now. The events are one array, closed in the destructor; viewers
// accept an array that is not closed. Replaces `file`; throws a Refusal when it cannot be written.
std::unique_ptr<SessionOutput> MakeTraceOutput(const std::string& file);
